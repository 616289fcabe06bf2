// SPDX-License-Identifier: ISC
// The daemon's waits, left out at link time: the loads of a year in seconds, through the same
// objects otherwise. The message list is written and renamed, but not forced to the disk, which
// would make every other program of the machine wait.
#include <cerrno>
#include <ctime>

#include "core/record/flags.h"
#include "core/record/pause.h"

struct uloop_timeout;

extern "C" {
int __real_uloop_timeout_set(uloop_timeout *timeout, int ms);
int __wrap_uloop_timeout_set(uloop_timeout *timeout, int ms);
void __wrap_sync();
int __wrap_fsync(int fd);
}

int __wrap_uloop_timeout_set(uloop_timeout *timeout, int ms)
{
    return __real_uloop_timeout_set(timeout, ms / 1000);
}

void __wrap_sync() {}

int __wrap_fsync(int)
{
    return 0;
}

// A thousandth of the time; the pause of every exchange disappears.
void modem_pause(unsigned ms)
{
    if (ms <= 1) return;
    timespec rest = {0, static_cast<long>(ms) * 1000L};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &rest, &rest) == EINTR) {
    }
}

void modem_pauseunless(std::uint32_t &until, unsigned ms)
{
    if (modem_getflag(until) == 0) modem_pause(ms);
}
