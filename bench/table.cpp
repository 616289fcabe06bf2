// SPDX-License-Identifier: ISC
// Statistics and rows. Standard output is the table's alone: the daemon's traces go elsewhere.
#include "bench/table.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "bench/stall.h"

namespace
{

struct scale_row {
    double upto;
    double factor;
    const char *unit;
};
constexpr double stallshare = 0.02;  // of a sample, that it survives

bool complete = true;

constexpr scale_row scales[] = {{1e-6, 1e9, "ns"}, {1e-3, 1e6, "us"}, {1, 1e3, "ms"}};

std::string target_text(const bench_row &row)
{
    std::string text;
    if (row.limit) text = "<= " + bench_text(*row.limit, row.unit);
    if (row.limit99)
        text += (row.limit ? ", " : "<= ") + bench_text(*row.limit99, row.unit) + " 99%";
    return text;
}

void print_line(const bench_row &row,
                const std::string &median,
                const std::string &highest,
                const std::string &verdict,
                const std::string &runs)
{
    std::printf("%-47s %9s %9s  %-24s %-6s %-11s %s\n", row.figure.c_str(), median.c_str(),
                highest.c_str(), target_text(row).c_str(), verdict.c_str(), runs.c_str(),
                row.beside.c_str());
    std::fflush(stdout);
}

std::string verdict_of(const bench_row &row, double median, double highest)
{
    if (!row.limit && !row.limit99) return "";
    if (row.limit && median > *row.limit) return "MISSED";
    return row.limit99 && highest > *row.limit99 ? "MISSED" : "met";
}

}  // namespace

std::vector<double> bench_samples::kept() const
{
    std::vector<double> values;
    for (const bench_sample &sample : all)
        if (bench_stalled(sample.from, sample.to) <= stallshare * (sample.to - sample.from))
            values.push_back(sample.value);
    std::sort(values.begin(), values.end());
    return values;
}

double bench_samples::at(double part) const
{
    const std::vector<double> values = kept();
    if (values.empty()) return 0;
    return values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1) + 0.5)];
}

std::string bench_text(double value, const char *unit)
{
    if (unit[0] == 's') {
        for (const scale_row &scale : scales)
            if (std::abs(value) < scale.upto) return bench_text(value * scale.factor, scale.unit);
    }
    char text[64];
    if (unit[0] == '\0') {
        std::snprintf(text, sizeof(text), "%.3g", value);
        return text;
    }
    const double size = std::abs(value);
    const int digits = size >= 100 || size == 0 ? 0 : size >= 10 ? 1 : size >= 1 ? 2 : 3;
    std::snprintf(text, sizeof(text), "%.*f %s", digits, value, unit);
    return text;
}

void bench_print(const bench_row &row, const bench_samples &samples)
{
    const std::size_t kept = samples.kept().size();
    if (kept == 0) {
        bench_nottaken(row.figure, samples.all.empty() ? "no sample" : "the machine stood still");
        return;
    }
    const double median = samples.at();
    const double highest = samples.at(0.99);
    print_line(row, bench_text(median, row.unit), bench_text(highest, row.unit),
               verdict_of(row, median, highest),
               std::to_string(kept) + "/" + std::to_string(samples.all.size()));
}

void bench_print(const bench_row &row, double value)
{
    print_line(row, bench_text(value, row.unit), "", verdict_of(row, value, value), "");
}

void bench_nottaken(const std::string &figure, const std::string &why)
{
    complete = false;
    print_line({.figure = figure, .beside = "not taken: " + why}, "-", "-", "", "");
}

bool bench_complete()
{
    return complete;
}
