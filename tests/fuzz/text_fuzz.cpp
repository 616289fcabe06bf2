// SPDX-License-Identifier: ISC
// The conversions: any input into outputs of any size, and back.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "core/record/text.h"
#include "fuzz/mutate.h"
#include "sms/submit.h"
#include "sms/text.h"

namespace
{

void fuzzucs2(std::string_view digits, std::size_t capacity)
{
    std::vector<char> cp1251(capacity, 'x');
    const int result = modem_ucs2tocp1251(cp1251, digits);
    const bool accepted = capacity > 0 && digits.size() >= 4 && digits.size() % 4 == 0;
    fuzz_require(result == (accepted ? 0 : -1), "whole groups are accepted, nothing else");
    if (!accepted) {
        fuzz_require(cp1251 == std::vector<char>(capacity, 'x'), "refused: nothing written");
        return;
    }
    const std::size_t count = std::min(digits.size() / 4, capacity - 1);
    fuzz_require(cp1251[count] == '\0', "ends behind the last character");
}

// All that goes out as UCS2 comes back.
void fuzzroundtrip(const std::string &text)
{
    std::vector<char> ucs2(4 * text.size() + 1);
    fuzz_require(modem_cp1251toucs2(text.c_str(), ucs2) == 0, "converted");
    const std::size_t length = std::strlen(ucs2.data());
    fuzz_require(length == 4 * std::strlen(text.c_str()), "four digits a character");
    if (length == 0) return;
    std::vector<char> back(text.size() + 1);
    fuzz_require(modem_ucs2tocp1251(back, {ucs2.data(), length}) == 0, "converted back");
    for (std::size_t i = 0; i < length / 4; i++) {
        // The one octet whose code is already that of another letter, the capital IO.
        const char expected = text[i] == '\xB1' ? '\xA8' : text[i];
        fuzz_require(back[i] == expected, "the same back");
    }
}

void fuzzoctets(std::span<const std::uint8_t> octets, std::string_view text, std::size_t capacity)
{
    std::vector<std::uint8_t> out(capacity);
    const std::size_t septets = modem_unpack7bit(octets, out);
    fuzz_require(septets == std::min(capacity, (octets.size() * 8 + 6) / 7), "all septets asked");
    for (std::size_t i = 0; i < septets; i++)
        fuzz_require(out[i] < 128, "septets have seven bits");
    fuzz_require(modem_hextobin(text, out) <= capacity, "octets stay inside");
    std::vector<char> phone(capacity);
    fuzz_require(modem_decodephone(octets, 255, phone) < std::max<std::size_t>(capacity, 1),
                 "digits stay inside");
}

void fuzzpdu(const std::string &text)
{
    char message[81] = {};
    modem_copytext(message, text);
    char pdu[modem_pdumax];
    int length = 0;
    const int result = modem_getpdupack(text.c_str(), message, pdu, length);
    if (result != 0) return;
    fuzz_require(static_cast<std::size_t>(length) == std::strlen(pdu) / 2 - 1, "length of the PDU");
    char numbers[5][81];
    const int count = modem_splitsmsnumbers(message, numbers);
    fuzz_require(count >= 0 && count <= 5, "at most five numbers");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz_silence();
    const std::string_view text = fuzz_text(data, size);
    const std::size_t capacity = size == 0 ? 0 : data[0];
    fuzzucs2(text, capacity);
    fuzzucs2({text.data(), size / 4 * 4}, capacity);
    fuzzroundtrip(std::string(text));
    fuzzoctets({data, size}, text, capacity);
    fuzzpdu(std::string(text));
    return 0;
}
