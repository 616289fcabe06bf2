// SPDX-License-Identifier: ISC
// Witnesses of the machine's hiccups: a thread per core that sleeps a millisecond at a time and
// notes when it wakes too late. They outrank all that is measured, so what delays them lies outside
// this system.
#pragma once

// Starts them, to the end of the process. False without real-time priority: then the waits of a
// busy machine count as hiccups, too.
bool bench_watch();
// Seconds between two times during which a core stood still.
double bench_stalled(double from, double to);
