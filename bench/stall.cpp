// SPDX-License-Identifier: ISC
// Witnesses of stalls.
#include "bench/stall.h"

#include <algorithm>
#include <mutex>
#include <pthread.h>
#include <sched.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "bench/table.h"

namespace
{

constexpr double nap = 0.001;
constexpr double tolerance = 0.0003;
constexpr int witnesspriority = 80;  // the daemon has 70

std::mutex lock;
std::vector<bench_sample> stalls;

void witness()
{
    for (;;) {
        const double start = bench_now();
        usleep(static_cast<useconds_t>(nap * 1e6));
        const double end = bench_now();
        if (end - start < nap + tolerance) continue;
        const std::lock_guard guard(lock);
        stalls.push_back({start, end, 0});
    }
}

}  // namespace

bool bench_watch()
{
    cpu_set_t cores;
    (void)sched_getaffinity(0, sizeof(cores), &cores);
    bool raised = true;
    for (unsigned core = 0; core < CPU_SETSIZE; core++) {
        if (!CPU_ISSET(core, &cores)) continue;
        std::thread thread(witness);
        cpu_set_t own;
        CPU_ZERO(&own);
        CPU_SET(core, &own);
        (void)pthread_setaffinity_np(thread.native_handle(), sizeof(own), &own);
        const sched_param priority = {witnesspriority};
        raised &= pthread_setschedparam(thread.native_handle(), SCHED_FIFO, &priority) == 0;
        thread.detach();
    }
    return raised;
}

double bench_stalled(double from, double to)
{
    const std::lock_guard guard(lock);
    double total = 0;
    for (const bench_sample &stall : stalls)
        total += std::max(0.0, std::min(to, stall.to) - std::max(from, stall.from));
    return total;
}
