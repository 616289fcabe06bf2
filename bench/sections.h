// The parts of the table. Each starts what it needs of the virtual router and ends it again.
#pragma once

#include <cstddef>
#include <string>

#include "simulator/router/parts.h"

struct bench_options {
    bool quick = false;

    // How often something is repeated.
    std::size_t times(std::size_t full, std::size_t quickly) const
    {
        return quick ? quickly : full;
    }
};

// Medians of the bare exchange and of a transaction, in seconds, for the rows of other sections.
struct bench_floor {
    double bare = 0;
};

void bench_exchange(const bench_options &options, bench_floor &floor);
void bench_codecs(const bench_options &options);
void bench_running(const bench_options &options, const bench_floor &floor);
void bench_growth(const bench_options &options);

// The parts of the router that come before the daemon; false with the failure printed as that of
// the figure.
bool bench_startrouter(router_parts &parts, const char *figure);
// Starts a program of the build folder as the daemon, its traces thrown away as its service does.
// `environment` holds NAME=VALUE words.
bool bench_startdaemon(router_parts &parts,
                       const std::string &program,
                       const char *figure,
                       const std::string &environment = "");
// Moves a thread (0: the calling one) to real-time priority 70, the daemon's, or back.
void bench_raise(pid_t thread, bool raised);
// Restricts a process with all its threads (0: the calling thread) to the last core, or frees it.
void bench_pin(pid_t process, bool pinned);

// What a process has to itself, in kB: all of it, and what no file backs.
struct bench_memory {
    double privately = 0;
    double anonymous = 0;
};
bench_memory bench_memoryof(pid_t process);
double bench_processortime(pid_t process);  // seconds, all threads
std::size_t bench_descriptors(pid_t process);
