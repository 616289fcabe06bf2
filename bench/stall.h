// Witnesses of the machine's own hiccups: one thread per core that sleeps a millisecond at a time
// and notes whenever it wakes up too late. They outrank everything measured, so what delays them
// lies outside this system.
#pragma once

// Seconds of the monotonic clock.
double bench_now();

// Starts the witnesses; they run to the end of the process. False without real-time priority: then
// a busy machine counts as stalled, too.
bool bench_watch();
// Whether any core stood still at any moment between two times.
bool bench_stalled(double from, double to);
