// SPDX-License-Identifier: ISC
// Signals: which of them reach the process, on which thread and when. Main thread.
//
// SIGINT and SIGTERM end the event loop, whose library handles them; the daemon only decides when
// they are let through. SIGUSR1 switches the traces on standard output; it is read from a
// descriptor in the event loop, so that it interrupts nothing.
#pragma once

// Blocks for good, in all threads, what must neither end the process nor be lost: SIGUSR1, which
// waits for the loop, and SIGPIPE, of a standard output that nobody reads any more. First of all,
// before there are threads.
void modem_holdsignals();

// Blocks SIGINT and SIGTERM, or lets them through again: a thread made while they are blocked never
// handles them.
void modem_blockstops();
void modem_allowstops();

// Runs the event loop until a signal or the daemon itself ends it; at once when a signal has come
// already. One that comes at any moment from then on ends it, too. Stops are allowed afterwards.
void modem_runloop();

// Registers SIGUSR1 with the event loop; without a descriptor for it, logged, the traces stay as
// they are. The end closes the descriptor.
void modem_watchtraceswitch();
void modem_unwatchtraceswitch();
