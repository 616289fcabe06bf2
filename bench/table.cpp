// Rows of the table. Standard output is the table's alone: the daemon's traces go elsewhere.
#include "bench/table.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sys/utsname.h>
#include <thread>

namespace
{

bool complete = true;

double at_part(const std::vector<double> &sorted, double part)
{
    if (sorted.empty()) return 0;
    const auto last = static_cast<double>(sorted.size() - 1);
    return sorted[static_cast<std::size_t>(part * last + 0.5)];
}

struct scale_row {
    double upto;
    double factor;
    const char *name;
};
constexpr scale_row scales[] = {{1e-6, 1e9, "ns"}, {1e-3, 1e6, "us"}, {1, 1e3, "ms"}};

std::string number_text(double value, const char *unit)
{
    char text[64];
    const double size = std::abs(value);
    const int digits = size >= 100 || size < 0.0005 ? 0 : size >= 10 ? 1 : size >= 1 ? 2 : 3;
    std::snprintf(text, sizeof(text), "%.*f%s%s", digits, value, unit[0] != '\0' ? " " : "", unit);
    return text;
}

std::string target_text(const bench_row &row)
{
    std::string text;
    if (row.limit) text = "<= " + bench_text(*row.limit, row.unit);
    if (row.limit99)
        text += (text.empty() ? "" : ", ") + bench_text(*row.limit99, row.unit) + " 99%";
    return text;
}

void print_line(const bench_row &row,
                const std::string &median,
                const std::string &highest,
                const char *verdict,
                const std::string &runs)
{
    std::printf("%-47s %9s %9s  %-24s %-6s %-11s %s\n", row.figure.c_str(), median.c_str(),
                highest.c_str(), target_text(row).c_str(), verdict, runs.c_str(),
                row.beside.c_str());
    std::fflush(stdout);
}

const char *verdict_of(const bench_row &row, double median, double highest)
{
    if (!row.limit && !row.limit99) return "";
    const bool missed =
        (row.limit && median > *row.limit) || (row.limit99 && highest > *row.limit99);
    return missed ? "MISSED" : "met";
}

}  // namespace

std::vector<double> bench_samples::kept() const
{
    std::vector<double> values;
    for (const bench_sample &sample : all)
        if (!bench_stalled(sample.from, sample.to)) values.push_back(sample.value);
    std::sort(values.begin(), values.end());
    return values;
}

double bench_samples::median() const
{
    return at_part(kept(), 0.5);
}

double bench_samples::highest99() const
{
    return at_part(kept(), 0.99);
}

std::string bench_text(double value, bench_unit unit)
{
    switch (unit) {
        case bench_unit::kilobytes:
            return number_text(value, "kB");
        case bench_unit::percent:
            return number_text(value, "%");
        case bench_unit::count:
            return number_text(value, "");
        case bench_unit::seconds:
            break;
    }
    for (const scale_row &scale : scales)
        if (std::abs(value) < scale.upto) return number_text(value * scale.factor, scale.name);
    return number_text(value, "s");
}

void bench_head(bool quick)
{
    utsname machine = {};
    double load[1] = {0};
    (void)uname(&machine);
    (void)getloadavg(load, 1);
    std::printf("%s, %u cores; load at the start %.2f%s\n", machine.machine,
                std::thread::hardware_concurrency(), load[0],
                quick ? "; few repeats, for a look only" : "");
    print_line({.figure = "figure", .beside = "beside it"}, "median", "99%", "", "kept/all");
}

void bench_print(const bench_row &row, const bench_samples &samples)
{
    const std::vector<double> kept = samples.kept();
    if (kept.empty()) {
        bench_nottaken(row.figure,
                       samples.all.empty() ? "nothing was measured" : "the machine stood still");
        return;
    }
    const double median = at_part(kept, 0.5);
    const double highest = at_part(kept, 0.99);
    print_line(row, bench_text(median, row.unit), bench_text(highest, row.unit),
               verdict_of(row, median, highest),
               std::to_string(kept.size()) + "/" + std::to_string(samples.all.size()));
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
