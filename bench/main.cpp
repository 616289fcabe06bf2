// SPDX-License-Identifier: ISC
// bench_figures [--quick] [SECTION ...]: prints the table of figures. Runs in the sandbox, for the
// daemon needs its fixed paths.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string_view>
#include <sys/utsname.h>
#include <thread>
#include <vector>

#include "bench/stall.h"
#include "bench/table.h"
#include "simulator/router/process.h"
#include "simulator/sandbox.h"

using namespace std::chrono_literals;

namespace
{

// What a benchmark's name stands for in the table, with its target.
struct codec_row {
    const char *name;
    const char *figure;
    std::optional<double> limit = {};
};
constexpr codec_row codecs[] = {
    {"deliver7bit", "SMS, 160 characters of 7 bits, from hex", 0.4e-6},
    {"deliverucs2", "SMS, 70 characters of UCS2, from hex", 0.25e-6},
    {"fromucs2", "70 characters, UCS2 text to CP1251"},
    {"toucs2", "70 characters, CP1251 to UCS2 text"},
    {"gnss", "GNSS report to the status"},
    {"levels", "signal report to the status"},
    {"operators", "operator name to the status"},
    {"report", "status tree to a bus message"},
};

struct codec_result {
    bench_samples times;
    double requests = 0;  // to the heap
};

// A line per repetition: name, iterations, real time, processor time, unit, ..., the counter.
std::map<std::string, codec_result> read_codecs(const std::string &path)
{
    std::map<std::string, codec_result> results;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        std::vector<std::string> fields;
        std::istringstream columns(line);
        for (std::string field; std::getline(columns, field, ',');)
            fields.push_back(field);
        if (fields.size() < 10 || fields[4] != "ns") continue;
        codec_result &result = results[fields[0]];
        result.times.all.push_back({0, 0, std::strtod(fields[3].c_str(), nullptr) * 1e-9});
        result.requests += std::strtod(fields.back().c_str(), nullptr);
    }
    return results;
}

struct section_row {
    const char *name;
    void (*run)(bench_options &options);
};
constexpr section_row sections[] = {
    {"exchange", bench_exchange},
    {"codecs", bench_codecs},
    {"running", bench_running},
    {"growth", bench_growth},
};

}  // namespace

// Processor time, so that a busy machine does not count.
void bench_codecs(bench_options &options)
{
    const std::string path = "/run/codecs.csv";
    bench_pin(0, true);
    const pid_t pid =
        process_start({"/bin/sh", "-c", "exec \"$0\" \"$@\" 2>/dev/null",
                       PROGRAMS "/bench/bench_micro", "--benchmark_format=csv",
                       options.quick ? "--benchmark_min_time=0.02" : "--benchmark_min_time=0.05",
                       options.quick ? "--benchmark_repetitions=5" : "--benchmark_repetitions=50"},
                      {.out = path});
    bench_pin(0, false);
    (void)process_wait(pid, 300s);
    auto results = read_codecs(path);
    double requests = 0;
    for (const codec_row &row : codecs) {
        codec_result &result = results['"' + std::string(row.name) + '"'];
        requests += result.requests;
        bench_print({.figure = row.figure, .limit = row.limit}, result.times);
    }
    bench_print({.figure = "requests to the heap in all of these", .unit = "", .limit = 0},
                requests);
}

int main(int argc, char **argv)
{
    bench_options options;
    std::set<std::string_view> wanted;
    for (int i = 1; i < argc; i++) {
        if (std::strcmp(argv[i], "--quick") == 0)
            options.quick = true;
        else
            wanted.insert(argv[i]);
    }
    sandbox_enter();
    const double load = std::strtod(read_file("/proc/loadavg").c_str(), nullptr);
    utsname machine = {};
    (void)uname(&machine);
    std::printf("%s, %u cores; load at the start %.2f%s\n", machine.machine,
                std::thread::hardware_concurrency(), load,
                options.quick ? "; few repeats, for a look only" : "");
    if (!bench_watch())
        std::puts("no real-time priority: waits of a busy machine are dropped, too");
    std::printf("%-47s %9s %9s  %-24s %-6s %-11s %s\n", "figure", "median", "99%", "target", "",
                "kept/all", "beside it");
    for (const section_row &section : sections)
        if (wanted.empty() || wanted.count(section.name) != 0) section.run(options);
    return bench_complete() ? 0 : 1;
}
