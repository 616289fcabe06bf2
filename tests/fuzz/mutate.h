// What a fuzz target defines and may use. Linked with mutate.cpp a target is a normal, repeatable
// test; linked with libFuzzer it searches on its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// The target: aborts when `data`, exactly `size` octets, breaks a promise of the code under test.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

inline void fuzz_require(bool holds, const char *promise)
{
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", promise);
    std::abort();
}
