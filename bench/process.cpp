// SPDX-License-Identifier: ISC
// Processes under measurement: started, pinned, and looked at through /proc.
#include "simulator/router/process.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sched.h>

#include "bench/table.h"

namespace
{

constexpr int daemonpriority = 70;

std::vector<std::string> entries_of(const std::string &folder)
{
    std::vector<std::string> names;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(folder, error))
        names.push_back(entry.path().filename());
    return names;
}

}  // namespace

double bench_now()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

bool bench_startrouter(router_parts &parts, const char *figure)
{
    for (const router_part part :
         {router_part::log, router_part::broker, router_part::network, router_part::modem}) {
        if (parts.start(part)) continue;
        bench_nottaken(figure, parts.error());
        return false;
    }
    return true;
}

bool bench_startdaemon(router_parts &parts, const char *program, const char *figure)
{
    write_file(router_configpath, router_defaultconfig);
    const std::string path = std::string(PROGRAMS "/bench/") + program;
    parts.setcommand(router_part::daemon, {"/bin/sh", "-c", "exec \"$0\" > /dev/null", path});
    if (parts.start(router_part::daemon)) return true;
    bench_nottaken(figure, parts.error());
    return false;
}

void bench_raise(pid_t thread, bool raised)
{
    const sched_param priority = {raised ? daemonpriority : 0};
    // Without the privilege everything runs as it is.
    (void)sched_setscheduler(thread, raised ? SCHED_FIFO : SCHED_OTHER, &priority);
}

void bench_pin(pid_t process, bool pinned)
{
    static const cpu_set_t all = [] {
        cpu_set_t cores;
        (void)sched_getaffinity(0, sizeof(cores), &cores);
        return cores;
    }();
    cpu_set_t cores = all;
    for (unsigned core = 0; pinned && CPU_COUNT(&cores) > 1; core++)
        CPU_CLR(core, &cores);
    if (process == 0) (void)sched_setaffinity(0, sizeof(cores), &cores);
    for (const std::string &thread : entries_of("/proc/" + std::to_string(process) + "/task"))
        (void)sched_setaffinity(std::stoi(thread), sizeof(cores), &cores);
}

bench_usage bench_usageof(pid_t process)
{
    const std::string folder = "/proc/" + std::to_string(process);
    bench_usage usage;
    std::ifstream file(folder + "/smaps_rollup");
    for (std::string line; std::getline(file, line);) {
        double size = 0;
        if (std::sscanf(line.c_str(), "Private_%*[a-zA-Z]: %lf kB", &size) == 1)
            usage.privately += size;
        if (std::sscanf(line.c_str(), "Anonymous: %lf kB", &size) == 1) usage.anonymous = size;
    }
    for (const std::string &thread : entries_of(folder + "/task"))  // first word: ns on a core
        usage.seconds +=
            std::strtod(read_file(folder + "/task/" + thread + "/schedstat").c_str(), nullptr) *
            1e-9;
    usage.descriptors = static_cast<double>(entries_of(folder + "/fd").size());
    return usage;
}
