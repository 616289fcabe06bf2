// SPDX-License-Identifier: ISC
// Runs a fuzz target over the files of a folder, over every shortened form of them, and over a
// fixed series of mutations. An input that makes it abort is printed in hex.
//
// usage: TARGET FOLDER [ROUNDS]
#include "mutate.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace
{

using namespace std::string_view_literals;

constexpr unsigned defaultrounds = 20000;
constexpr std::size_t inputmax = 2048;  // longer than every reply and line buffer
constexpr std::string_view telling = "\0\xFF\x7F\x80,:;\"\r\n\t -+.09AFaf"sv;

std::string input;  // the one that runs

std::size_t below(std::mt19937 &random, std::size_t bound)
{
    return bound == 0 ? 0 : random() % bound;
}

void change(std::string &text, const std::string &other, std::mt19937 &random)
{
    const std::size_t at = below(random, text.size() + 1);
    const std::size_t length = 1 + below(random, 1U << below(random, 12));
    const char octet = telling[below(random, telling.size())];
    switch (below(random, 6)) {
        case 0:
            if (at < text.size()) text[at] = octet;
            break;
        case 1:
            if (at < text.size()) text[at] = static_cast<char>(text[at] ^ (1 << below(random, 8)));
            break;
        case 2:
            text.insert(at, length, octet);
            break;
        case 3:
            text.erase(at, length);
            break;
        case 4:
            text.insert(below(random, text.size() + 1), text.substr(at, length));
            break;
        default:
            text = text.substr(0, at) + other.substr(below(random, other.size() + 1));
    }
    if (text.size() > inputmax) text.resize(inputmax);
}

void run(const std::string &text)
{
    input = text;
    // Of the very size, so that a sanitizer sees the first octet read beyond.
    const auto octets = std::make_unique<std::uint8_t[]>(text.size());
    std::copy(text.begin(), text.end(), octets.get());
    LLVMFuzzerTestOneInput(octets.get(), text.size());
}

void report(int)
{
    std::fprintf(stderr, "input:");
    for (const char octet : input)
        std::fprintf(stderr, " %02X", static_cast<unsigned char>(octet));
    std::fprintf(stderr, "\n");
}

std::vector<std::string> readfolder(const char *folder)
{
    std::vector<std::filesystem::path> paths;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(folder, error)) {
        if (entry.is_regular_file()) paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    std::vector<std::string> texts;
    for (const std::filesystem::path &path : paths) {
        std::ifstream file(path, std::ios::binary);
        texts.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return texts;
}

}  // namespace

int main(int argc, char **argv)
{
    const std::vector<std::string> seeds = readfolder(argc > 1 ? argv[1] : "");
    if (seeds.empty()) {
        std::fprintf(stderr, "usage: %s FOLDER [ROUNDS]; the folder holds the inputs\n", argv[0]);
        return 2;
    }
    std::signal(SIGABRT, report);
    for (const std::string &seed : seeds) {
        for (std::size_t length = 0; length <= seed.size(); length++)
            run(seed.substr(0, length));
    }
    const unsigned long rounds = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : defaultrounds;
    std::mt19937 random(1);  // always the same series
    for (unsigned long round = 0; round < rounds; round++) {
        std::string text = seeds[below(random, seeds.size())];
        for (std::size_t changes = 1 + below(random, 6); changes > 0; changes--)
            change(text, seeds[below(random, seeds.size())], random);
        run(text);
    }
    return 0;
}
