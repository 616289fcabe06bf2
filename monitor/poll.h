// SPDX-License-Identifier: ISC
// The watch over the running modem, once a second on the event loop.
#pragma once

struct uloop_timeout;

constexpr int modem_pollinterval = 1000;  // ms between the end of a pass and the next one

// The callback of the poll timer: publishes the worker's results and runs one pass, which blocks
// for as long as its AT exchanges take; then re-arms the timer.
void modem_poll(uloop_timeout *timeout);
