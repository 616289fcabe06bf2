// SPDX-License-Identifier: ISC
// Replies in pieces of any size: what has accumulated, and what it is taken for.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "at/await.h"
#include "at/reply.h"
#include "at/ussd.h"
#include "fuzz/mutate.h"

namespace
{

constexpr std::size_t most = modem_atreplymax;

std::string lower(std::string_view text)
{
    std::string made(text);
    for (char &c : made)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c | 0x20);
    return made;
}

void checkverdicts(std::string_view reply)
{
    const std::string text = lower(reply);
    const auto has = [&text](const char *marker) { return text.find(lower(marker)) != text.npos; };
    for (const char *answer : {"OK\r\n", ">", "no such text"}) {
        const modem_verdict verdict = modem_classify(reply, answer);
        fuzz_require((verdict == modem_verdict::expected) == has(answer), "found in any case");
        fuzz_require(has("error") || verdict != modem_verdict::error, "an error says so");
        fuzz_require(!has("error\r\n") || verdict != modem_verdict::nothing, "an error ends it");
    }
    const modem_ussdmarker *marker = modem_classifyussd(reply);
    fuzz_require(marker == nullptr || has(marker->text), "the marker is there");
    fuzz_require(marker != nullptr || !has("error\r\n"), "an error ends the wait");
}

}  // namespace

// An input is one octet, the size of the pieces, and the octets that arrive.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0) return 0;
    // Of the very size, so that a sanitizer sees the first octet beyond.
    const std::unique_ptr<char[][most + 1]> text(new char[1][most + 1]);
    std::size_t length = 0;
    std::string expected;
    const std::size_t piece = data[0] < 250 ? data[0] + 1U : most;
    for (std::size_t at = 1; at < size; at += piece) {
        const std::size_t count = std::min(piece, size - at);
        if (expected.size() + count > most) expected.clear();
        expected.append(reinterpret_cast<const char *>(data) + at, count);
        length = modem_accumulate(text[0], length, {data + at, count});
        fuzz_require(length <= most && text[0][length] == '\0', "fits and ends");
        fuzz_require(std::string_view(text[0], length) == expected, "what has arrived");
        // Not after every octet: that would take most of the time.
        if (at % 512 < piece || at + count == size) checkverdicts({text[0], length});
    }
    return 0;
}
