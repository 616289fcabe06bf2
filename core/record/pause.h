// SPDX-License-Identifier: ISC
// Waits of the calling thread.
#pragma once

#include <cstdint>

// Sleeps `ms` milliseconds, through interruptions by signals.
void modem_pause(unsigned ms);

// The same, but returns early once the control word `until` is 1; looks twenty times a second.
void modem_pauseunless(std::uint32_t &until, unsigned ms);
