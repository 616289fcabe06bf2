// SPDX-License-Identifier: ISC
// One-shot timers behind the time-outs of the serial channel.
#pragma once

// Arms the timer descriptor once, `ms` milliseconds from now. 0, or -1 when it cannot be set.
int modem_settimer(int fd, unsigned ms);

// Disarms it and clears a pending expiry, so that a timer is never read. 0 or -1.
int modem_resettimer(int fd);
