// SPDX-License-Identifier: ISC
// A message decoded by libGammu, beside what micro.cpp measures of the same messages. The library
// is loaded from the path in LIBGAMMU; nothing of it is linked.
#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <dlfcn.h>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "simulator/modem/pdu.h"

namespace
{

constexpr int done = 1;  // the library's code for "no error"

using decoder = int (*)(void *, void *, const unsigned char *, std::size_t, std::size_t *, int);

void decode(benchmark::State &state,
            simulator::coding how,
            const std::string &text,
            const std::string &expected)
{
    const char *path = std::getenv("LIBGAMMU");
    void *library = path == nullptr ? nullptr : dlopen(path, RTLD_NOW);
    if (library == nullptr) return state.SkipWithError("no library");
    const auto run = reinterpret_cast<decoder>(dlsym(library, "GSM_DecodePDUFrame"));
    const auto trace = reinterpret_cast<void *(*)()>(dlsym(library, "GSM_GetGlobalDebug"));
    if (run == nullptr || trace == nullptr) return state.SkipWithError("no decoder");
    simulator::message sent;
    sent.how = how;
    sent.text = simulator::encode(how, text);
    const simulator::octets pdu = *simulator::fromhex(simulator::buildpdu(sent));
    std::vector<char> message(1U << 20);  // ample for the library's record
    const auto action = [&] {
        std::size_t used = 0;
        return run(trace(), message.data(), pdu.data(), pdu.size(), &used, 1) == done;
    };
    if (!action() || std::search(message.begin(), message.end(), expected.begin(),
                                 expected.end()) == message.end())
        return state.SkipWithError("wrong result");
    for (auto step : state)
        benchmark::DoNotOptimize(action());
}

std::string repeated(const std::string &text, int times)
{
    std::string all;
    for (int i = 0; i < times; i++)
        all += text;
    return all;
}

void deliver7bit(benchmark::State &state)
{
    const std::string text = repeated("0123456789ABCDEFghijklmnopqrstuv", 5);
    std::string wide;  // the library's texts are UTF-16, big end first
    for (const char c : text)
        wide += std::string{'\0', c};
    decode(state, simulator::coding::bit7, text, wide);
}

void deliverucs2(benchmark::State &state)
{
    decode(state, simulator::coding::ucs2, repeated("Сообщения.", 7),
           repeated(std::string("\x04\x21\x04\x3E\x04\x3E\x04\x31\x04\x49\x04\x35\x04\x3D\x04\x38"
                                "\x04\x4F\0.",
                                20),
                    7));
}

BENCHMARK(deliver7bit);
BENCHMARK(deliverucs2);

}  // namespace

BENCHMARK_MAIN();
