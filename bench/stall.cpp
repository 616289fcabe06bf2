// Witnesses of stalls.
#include "bench/stall.h"

#include <cerrno>
#include <ctime>
#include <mutex>
#include <pthread.h>
#include <sched.h>
#include <thread>
#include <vector>

namespace
{

constexpr double nap = 0.001;
constexpr double tolerance = 0.0003;
constexpr int witnesspriority = 80;  // the daemon has 70

struct stall {
    double from;
    double to;
};

std::mutex lock;
std::vector<stall> stalls;

void witness(int core)
{
    cpu_set_t own;
    CPU_ZERO(&own);
    CPU_SET(static_cast<unsigned>(core), &own);
    (void)pthread_setaffinity_np(pthread_self(), sizeof(own), &own);
    for (;;) {
        const double due = bench_now() + nap;
        const auto seconds = static_cast<time_t>(due);
        const timespec until = {seconds,
                                static_cast<long>((due - static_cast<double>(seconds)) * 1e9)};
        while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
        }
        const double now = bench_now();
        if (now - due < tolerance) continue;
        const std::lock_guard guard(lock);
        stalls.push_back({due - nap, now});
    }
}

}  // namespace

double bench_now()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

bool bench_watch()
{
    cpu_set_t cores;
    (void)sched_getaffinity(0, sizeof(cores), &cores);
    bool raised = true;
    for (int core = 0; core < CPU_SETSIZE; core++) {
        if (!CPU_ISSET(static_cast<unsigned>(core), &cores)) continue;
        std::thread thread(witness, core);
        const sched_param priority = {witnesspriority};
        raised =
            pthread_setschedparam(thread.native_handle(), SCHED_FIFO, &priority) == 0 && raised;
        thread.detach();
    }
    return raised;
}

bool bench_stalled(double from, double to)
{
    const std::lock_guard guard(lock);
    for (const stall &one : stalls)
        if (one.from < to && from < one.to) return true;
    return false;
}
