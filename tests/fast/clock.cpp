// SPDX-License-Identifier: ISC
// The daemon's waits, shortened at link time: the same objects otherwise. Fixed waits pass fifty
// times faster and show among the traces, the poll follows itself at once; time-outs of exchanges
// stay, so that a busy machine provokes none, unless FAST_TIMEOUT (ms) shortens them for a test of
// silence.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <sys/timerfd.h>
#include <unistd.h>

#include "at/timer.h"
#include "core/record/flags.h"
#include "core/record/pause.h"
#include "core/record/trace.h"

struct uloop_timeout;

extern "C" int __real_uloop_timeout_set(uloop_timeout *timeout, int ms);

extern "C" int __wrap_uloop_timeout_set(uloop_timeout *timeout, int ms)
{
    // The last thing before the loop runs is a timer of no delay.
    if (ms == 0 && std::getenv("FAST_RAISE") != nullptr)
        (void)kill(getpid(), std::atoi(std::getenv("FAST_RAISE")));
    const char *interval = std::getenv("FAST_INTERVAL");  // ms between poll passes
    return __real_uloop_timeout_set(timeout, ms != 1000            ? ms
                                             : interval != nullptr ? std::atoi(interval)
                                                                   : 20);
}

void modem_pause(unsigned ms)
{
    if (ms > 1) modem_trace("modem_pause: %u\n", ms);
    const long shortened = ms <= 1 ? 200000L : std::max(1L, static_cast<long>(ms) / 50) * 1000000L;
    timespec rest = {shortened / 1000000000L, shortened % 1000000000L};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &rest, &rest) == EINTR) {
    }
}

void modem_pauseunless(std::uint32_t &until, unsigned ms)
{
    if (modem_getflag(until) == 0) modem_pause(ms);
}

int modem_settimer(int fd, unsigned ms)
{
    const char *timeout = std::getenv("FAST_TIMEOUT");
    if (ms > 0 && timeout != nullptr) ms = static_cast<unsigned>(std::atoi(timeout));
    const itimerspec timer = {{0, 0}, {static_cast<time_t>(ms / 1000), (ms % 1000) * 1000000L}};
    return timerfd_settime(fd, 0, &timer, nullptr) == 0 ? 0 : -1;
}

int modem_resettimer(int fd)
{
    return modem_settimer(fd, 0);
}
