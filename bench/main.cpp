// bench_figures [--quick] [SECTION ...]: prints the table of figures. Runs in the sandbox, for the
// daemon needs its fixed paths.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string_view>
#include <vector>

#include "bench/sections.h"
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

// One line per repetition: name, iterations, real time, processor time, unit, ..., the counter.
std::map<std::string, codec_result> read_codecs(const std::string &path)
{
    std::map<std::string, codec_result> results;
    std::istringstream text(read_file(path));
    for (std::string line; std::getline(text, line);) {
        std::vector<std::string> fields;
        std::istringstream columns(line);
        for (std::string field; std::getline(columns, field, ',');)
            fields.push_back(field);
        if (fields.size() < 10 || fields[0].size() < 2 || fields[4] != "ns") continue;
        codec_result &result = results[fields[0].substr(1, fields[0].size() - 2)];
        result.times.add(0, 0, std::strtod(fields[3].c_str(), nullptr) * 1e-9);
        result.requests += std::strtod(fields.back().c_str(), nullptr);
    }
    return results;
}

struct section_row {
    const char *name;
    void (*run)(const bench_options &options, bench_floor &floor);
};
constexpr section_row sections[] = {
    {"exchange", bench_exchange},
    {"codecs", [](const bench_options &options, bench_floor &) { bench_codecs(options); }},
    {"running",
     [](const bench_options &options, bench_floor &floor) { bench_running(options, floor); }},
    {"growth", [](const bench_options &options, bench_floor &) { bench_growth(options); }},
};

}  // namespace

void bench_codecs(const bench_options &options)
{
    const std::string path = "/run/codecs.csv";
    bench_pin(0, true);
    const pid_t pid =
        process_start({PROGRAMS "/bench/bench_micro", "--benchmark_format=csv",
                       options.quick ? "--benchmark_min_time=0.02" : "--benchmark_min_time=0.05",
                       options.quick ? "--benchmark_repetitions=5" : "--benchmark_repetitions=50"},
                      {.out = path});
    bench_pin(0, false);
    const int status = process_wait(pid, 300s).value_or(-1);
    auto results = read_codecs(path);
    double requests = 0;
    for (const codec_row &row : codecs) {
        const auto found = results.find(row.name);
        if (status != 0 || found == results.end()) {
            bench_nottaken(row.figure, "bench_micro failed");
            continue;
        }
        requests += found->second.requests;
        bench_print({.figure = row.figure, .limit = row.limit}, found->second.times);
    }
    bench_print(
        {.figure = "requests to the heap in all of these", .unit = bench_unit::count, .limit = 0},
        requests);
}

int main(int argc, char **argv)
{
    bench_options options;
    std::vector<std::string_view> wanted;
    for (int i = 1; i < argc; i++) {
        if (std::strcmp(argv[i], "--quick") == 0)
            options.quick = true;
        else
            wanted.emplace_back(argv[i]);
    }
    sandbox_enter();
    bench_head(options.quick);
    if (!bench_watch()) std::puts("no real-time priority: waits of a busy machine count as stalls");
    bench_floor floor;
    for (const section_row &section : sections) {
        bool chosen = wanted.empty();
        for (const std::string_view name : wanted)
            chosen = chosen || name == section.name;
        if (chosen) section.run(options, floor);
    }
    return bench_complete() ? 0 : 1;
}
