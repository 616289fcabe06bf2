// SPDX-License-Identifier: ISC
// The table of figures, and what every section needs to take them. Samples know when they took
// place: those during which the machine itself stood still are counted and dropped.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "simulator/router/parts.h"

// Seconds of the monotonic clock.
double bench_now();

struct bench_sample {
    double from;
    double to;
    double value;
};

struct bench_samples {
    std::vector<bench_sample> all;

    void add(double from, double to)
    {
        all.push_back({from, to, to - from});
    }
    // What is left, in ascending order, and of that a part from 0 to 1; 0 without any.
    std::vector<double> kept() const;
    double at(double part = 0.5) const;
};

struct bench_row {
    std::string figure;
    const char *unit = "s";            // of the values; seconds are shown as suits them
    std::string beside = {};           // its floor or its rival
    std::optional<double> limit = {};  // of the median
    std::optional<double> limit99 = {};
};

std::string bench_text(double value, const char *unit = "s");
// Prints a row; without a sample left the figure counts as not taken.
void bench_print(const bench_row &row, const bench_samples &samples);
void bench_print(const bench_row &row, double value);
void bench_nottaken(const std::string &figure, const std::string &why);
bool bench_complete();  // all were taken

struct bench_options {
    bool quick = false;
    double bare = 0;  // s, of a bare exchange, once it is known

    std::size_t times(std::size_t full, std::size_t quickly) const
    {
        return quick ? quickly : full;
    }
};

// Each starts what it needs of the virtual router and ends it again.
void bench_exchange(bench_options &options);
void bench_codecs(bench_options &options);
void bench_running(bench_options &options);
void bench_growth(bench_options &options);

// The parts of the router before the daemon, and a program of the build folder as the daemon, its
// traces thrown away as its service does. False with the cause printed as that of the figure.
bool bench_startrouter(router_parts &parts, const char *figure);
bool bench_startdaemon(router_parts &parts, const char *program, const char *figure);

// Moves a thread (0: the calling one) to the daemon's real-time priority, or back.
void bench_raise(pid_t thread, bool raised);
// Restricts a process with all its threads (0: the calling thread) to the last core, or frees it.
void bench_pin(pid_t process, bool pinned);

struct bench_usage {
    double seconds = 0;    // of processor time, all threads
    double privately = 0;  // kB that no other process shares
    double anonymous = 0;  // kB that no file backs
    double descriptors = 0;
};
bench_usage bench_usageof(pid_t process);
