// SPDX-License-Identifier: ISC
// Waits of the calling thread.
#include "core/record/pause.h"

#include <cerrno>
#include <ctime>

#include "core/record/flags.h"

void modem_pause(unsigned ms)
{
    timespec rest = {static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000L};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &rest, &rest) == EINTR) {
    }
}

void modem_pauseunless(std::uint32_t &until, unsigned ms)
{
    constexpr unsigned slice = 50;
    while (ms > 0 && modem_getflag(until) == 0) {
        const unsigned part = ms < slice ? ms : slice;
        modem_pause(part);
        ms -= part;
    }
}
