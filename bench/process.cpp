// Processes under measurement: started, pinned, and looked at through /proc.
#include "simulator/router/process.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <unistd.h>

#include "bench/sections.h"
#include "bench/table.h"

namespace fs = std::filesystem;

namespace
{

constexpr int daemonpriority = 70;

std::size_t entries_of(const std::string &folder)
{
    std::size_t count = 0;
    std::error_code error;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error))
        count++;
    return count;
}

std::vector<pid_t> threads_of(pid_t process)
{
    std::vector<pid_t> threads;
    std::error_code error;
    const std::string folder = "/proc/" + std::to_string(process) + "/task";
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error))
        threads.push_back(std::stoi(at->path().filename()));
    return threads;
}

}  // namespace

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

bool bench_startdaemon(router_parts &parts,
                       const std::string &program,
                       const char *figure,
                       const std::string &environment)
{
    write_file(router_configpath, router_defaultconfig);
    const std::string path = PROGRAMS "/bench/" + program;
    parts.setcommand(router_part::daemon,
                     {"/bin/sh", "-c", "exec env " + environment + " \"$0\" > /dev/null", path});
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
    for (int core = CPU_SETSIZE - 1, found = 0; pinned && core >= 0; core--) {
        if (!CPU_ISSET(static_cast<unsigned>(core), &all)) continue;
        if (found++ > 0) CPU_CLR(static_cast<unsigned>(core), &cores);
    }
    if (process == 0) (void)sched_setaffinity(0, sizeof(cores), &cores);
    for (const pid_t thread : process == 0 ? std::vector<pid_t>{} : threads_of(process))
        (void)sched_setaffinity(thread, sizeof(cores), &cores);
}

bench_memory bench_memoryof(pid_t process)
{
    bench_memory memory;
    std::ifstream file("/proc/" + std::to_string(process) + "/smaps_rollup");
    for (std::string line; std::getline(file, line);) {
        long size = 0;
        if (std::sscanf(line.c_str(), "Private_Clean: %ld", &size) == 1 ||
            std::sscanf(line.c_str(), "Private_Dirty: %ld", &size) == 1)
            memory.privately += static_cast<double>(size);
        if (std::sscanf(line.c_str(), "Anonymous: %ld", &size) == 1)
            memory.anonymous += static_cast<double>(size);
    }
    return memory;
}

double bench_processortime(pid_t process)
{
    double seconds = 0;
    for (const pid_t thread : threads_of(process)) {
        const std::string text = read_file("/proc/" + std::to_string(process) + "/task/" +
                                           std::to_string(thread) + "/schedstat");
        seconds += std::strtod(text.c_str(), nullptr) * 1e-9;  // first word: ns on a core
    }
    return seconds;
}

std::size_t bench_descriptors(pid_t process)
{
    return entries_of("/proc/" + std::to_string(process) + "/fd");
}
