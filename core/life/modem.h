// SPDX-License-Identifier: ISC
// The daemon from start to end. Main thread, which becomes the event-loop thread.
#pragma once

struct modem_state;

// Builds the daemon, serves until it is told to stop, tears it down. 0 after an orderly stop, -1
// when the start failed; then nothing runs.
int modem();

// Stops and joins the worker, closes what is open, frees the record. -1 when there is no record or
// the worker cannot be told; then nothing is freed.
int modemfree(modem_state *pmod);
