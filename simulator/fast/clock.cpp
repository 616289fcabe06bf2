// SPDX-License-Identifier: ISC
// The daemon with its waits shortened at link time: the same objects otherwise. Fixed waits pass
// fifty times faster and show among the traces, the poll follows itself at once. Time-outs stay, so
// that a busy machine provokes none, but for those that a test wants to see: of every exchange when
// FAST_TIMEOUT says their length (ms); and, until one has passed, of commands that begin as the
// file /run/silent does. The wait for a USSD answer counts as the command "+CUSD".
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <strings.h>
#include <sys/timerfd.h>
#include <termios.h>
#include <unistd.h>

#include "at/timer.h"
#include "core/record/flags.h"
#include "core/record/pause.h"
#include "core/record/pmod.h"
#include "core/record/trace.h"

struct uloop_timeout;

namespace
{

constexpr char silentpath[] = "/run/silent";
constexpr unsigned silenttimeout = 150;  // ms
std::atomic<int> shortened = -1;         // the timer of such an exchange

bool issilent(int timer)
{
    char start[128] = {};
    const int fd = open(silentpath, O_RDONLY | O_CLOEXEC);
    const ssize_t length = read(fd, start, sizeof(start));
    (void)close(fd);
    const char *command = timer == pmod->fdtimerat ? pmod->atcmd : "+CUSD";
    return length > 0 && strncasecmp(command, start, static_cast<std::size_t>(length)) == 0;
}

}  // namespace

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

extern "C" void *__real_realloc(void *old, std::size_t size);

extern "C" int __real_tcflush(int fd, int queues);

// After these short time-outs a busy modem may still have a command to read, which a flush takes
// back from a pseudo-terminal.
extern "C" int __wrap_tcflush(int fd, int)
{
    return __real_tcflush(fd, TCIFLUSH);
}

// Once the worker runs, buffers are as large as they get: replies are built without the heap.
extern "C" void *__wrap_realloc(void *old, std::size_t size)
{
    if (pmod != nullptr && modem_getflag(pmod->istaskalive) != 0)
        modem_trace("realloc: %zu\n", size);
    return __real_realloc(old, size);
}

void modem_pause(unsigned ms)
{
    if (ms > 1) modem_trace("modem_pause: %u\n", ms);
    const long nanoseconds =
        ms <= 1 ? 200000L : std::max(1L, static_cast<long>(ms) / 50) * 1000000L;
    timespec rest = {nanoseconds / 1000000000L, nanoseconds % 1000000000L};
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
    if (ms > 0 && issilent(fd)) {
        ms = silenttimeout;
        shortened = fd;
    }
    const itimerspec timer = {{0, 0}, {static_cast<time_t>(ms / 1000), (ms % 1000) * 1000000L}};
    return timerfd_settime(fd, 0, &timer, nullptr) == 0 ? 0 : -1;
}

int modem_resettimer(int fd)
{
    itimerspec left = {};
    const bool haspassed =
        timerfd_gettime(fd, &left) == 0 && left.it_value.tv_sec == 0 && left.it_value.tv_nsec == 0;
    int own = fd;
    if (shortened.compare_exchange_strong(own, -1) && haspassed) (void)unlink(silentpath);
    return modem_settimer(fd, 0);
}
