// SPDX-License-Identifier: ISC
// One-shot timers on timer descriptors.
#include "at/timer.h"

#include <sys/timerfd.h>

int modem_settimer(int fd, unsigned ms)
{
    itimerspec timer = {};
    timer.it_value.tv_sec = static_cast<time_t>(ms / 1000);
    timer.it_value.tv_nsec = static_cast<long>(ms % 1000) * 1000000L;
    return timerfd_settime(fd, 0, &timer, nullptr) == 0 ? 0 : -1;
}

int modem_resettimer(int fd)
{
    return modem_settimer(fd, 0);
}
