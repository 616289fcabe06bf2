// SPDX-License-Identifier: ISC
// Received messages: any reply in, and either a message within the profile or none.
#include <cstring>
#include <vector>

#include "fuzz/mutate.h"
#include "sms/deliver.h"
#include "sms/text.h"

namespace
{

template <std::size_t N>
void checkterminated(const char (&field)[N])
{
    fuzz_require(std::memchr(field, '\0', N) != nullptr, "field ends");
}

void fuzzpdu(std::string_view hex)
{
    std::uint8_t buffer[231];
    const std::size_t count = modem_hextobin(hex, buffer);
    // Of the very size, so that a sanitizer sees the first octet read beyond.
    const std::vector<std::uint8_t> octets(buffer, buffer + count);
    modem_deliver message;
    std::memset(&message, 0xA5, sizeof(message));
    const bool decoded = modem_decodedeliver(hex, octets, message);
    fuzz_require(!decoded || count >= 28, "a message has 28 octets");
    if (!decoded) return;
    checkterminated(message.sender);
    checkterminated(message.timestamp);
    checkterminated(message.text);
    fuzz_require(message.length < sizeof(message.text), "a part has 160 characters at most");
    fuzz_require(std::strlen(message.text) <= message.length, "no text beyond what was decoded");
    if (!message.islong) return;
    fuzz_require(message.countparts >= 2 && message.countparts <= 6, "2 to 6 parts are kept");
    fuzz_require(message.part >= 1 && message.part <= 6, "parts 1 to 6 are kept");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz_silence();
    const std::string_view text = fuzz_text(data, size);
    std::optional<std::string_view> hex;
    fuzz_require(modem_findpdu(text, hex) || !hex, "a message or none");
    fuzzpdu(hex.value_or(text));
    return 0;
}
