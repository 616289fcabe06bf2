// The table of figures: samples with the time they took place, and rows made of them.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "bench/stall.h"

struct bench_sample {
    double from;  // seconds of the monotonic clock
    double to;
    double value;
};

// Samples of one figure, in seconds unless the row says otherwise.
struct bench_samples {
    std::vector<bench_sample> all;

    void add(double from, double to)
    {
        all.push_back({from, to, to - from});
    }
    void add(double from, double to, double value)
    {
        all.push_back({from, to, value});
    }
    // Those during which no core stood still, in ascending order.
    std::vector<double> kept() const;
    // Of those; 0 without any.
    double median() const;
    double highest99() const;
};

enum class bench_unit { seconds, kilobytes, percent, count };

struct bench_row {
    std::string figure;
    bench_unit unit = bench_unit::seconds;
    std::string beside = {};           // its floor or its rival
    std::optional<double> limit = {};  // of the median
    std::optional<double> limit99 = {};
};

void bench_head(bool quick);
// Prints a row. Without a sample left the figure counts as not taken.
void bench_print(const bench_row &row, const bench_samples &samples);
// The same for one value that is not sampled.
void bench_print(const bench_row &row, double value);
void bench_nottaken(const std::string &figure, const std::string &why);
bool bench_complete();  // every figure was taken

// "48.3 us"
std::string bench_text(double value, bench_unit unit = bench_unit::seconds);
