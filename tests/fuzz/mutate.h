// SPDX-License-Identifier: ISC
// What a fuzz target defines and may use. Linked with mutate.cpp a target is a normal, repeatable
// test; linked with libFuzzer it searches on its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

// The target: aborts when `data`, exactly `size` octets, breaks a promise of the code under test.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

inline void fuzz_require(bool holds, const char *promise)
{
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", promise);
    std::abort();
}

// Puts the traces of the code under test away: they would drown the runner's own words.
inline void fuzz_silence()
{
    static const int silent = dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    fuzz_require(silent != -1, "traces are put away");
}

inline std::string_view fuzz_text(const std::uint8_t *data, std::size_t size)
{
    return {reinterpret_cast<const char *>(data), size};
}
