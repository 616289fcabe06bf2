// SPDX-License-Identifier: ISC
// Conversions at their limits, and the longest outgoing PDU. The characters of their own kind stand
// in docs/sms.md; tests/fuzz shows that texts come back and that refusals write nothing.
#include "sms/text.h"

#include <array>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/record/text.h"
#include "sms/submit.h"
#include "tests/sms/traces.h"

namespace
{

constexpr std::size_t ample = 200;

std::string cp1251of(const std::string &ucs2, std::size_t capacity = ample)
{
    std::vector<char> out(capacity, '#');
    return modem_ucs2tocp1251(out, ucs2) == 0 ? out.data() : "refused";
}

std::string ucs2of(const std::string &cp1251, std::size_t capacity = ample)
{
    std::vector<char> out(capacity, '#');
    return modem_cp1251toucs2(cp1251.c_str(), out) == 0 ? out.data() : "refused";
}

std::string octetsof(std::string_view hex, std::size_t capacity)
{
    std::vector<std::uint8_t> out(capacity);
    out.resize(modem_hextobin(hex, out));
    return {out.begin(), out.end()};
}

std::string septetsof(const std::string &packed, std::size_t most)
{
    std::vector<std::uint8_t> out(most);
    const std::vector<std::uint8_t> octets(packed.begin(), packed.end());
    out.resize(modem_unpack7bit(octets, out));
    return {out.begin(), out.end()};
}

std::string digitsof(std::size_t count, std::size_t capacity)
{
    const std::array<std::uint8_t, 2> octets = {0x21, 0xF3};
    std::vector<char> out(capacity, '#');
    const std::size_t digits = modem_decodephone(octets, count, out);
    EXPECT_EQ(std::string(out.data()).size(), digits);
    return out.data();
}

std::string addressfield(const std::string &phone, bool international = true)
{
    char field[modem_addressmax];
    EXPECT_EQ(modem_getdafield(phone.c_str(), field, international), 0);
    return field;
}

TEST(text, conversionsKeepToTheirRulesAndCapacities)
{
    const std::string seven = "\x41\xE1\x90\x58\x34\x1E\x91";
    const std::pair<std::string, std::string> rows[] = {
        {ucs2of("\xA8\xB8\xCF\xC0\xFF"), "04010451041F0410044F"},
        {ucs2of("Hi~\x7F\x80"), "00480069007E03CF03D0"},  // a tilde is the last common code
        {cp1251of("0000034F035100A020AC"), " \x4F\x01\xA0\x5C"},
        {cp1251of("041fxy41"), "\xCF\x41"},  // lower case, and no digits
        {cp1251of("0041004200430044", 3), "AB"},
        {ucs2of("abc", 8), "0061"},  // whole characters only
        {tracesof([] { (void)cp1251of(""); }), "modem_ucs2tocp1251: lenstrucs2=0 < 4\n"},
        {tracesof([] { (void)cp1251of("041F04"); }),
         "modem_ucs2tocp1251: lenstrucs2=6 % 4 is true\n"},
        {octetsof("zf4F0", 9), "\x0F\x4F"},
        {octetsof("414243", 2), "AB"},
        {octetsof({"4\0", 2}, 9), ""},
        {septetsof(seven, 8), "ABCDEFGH"},
        {septetsof(seven, 7), "ABCDEFG"},
        {septetsof("\xC1", 9), "A\x01"},  // its top bit is the second
        {digitsof(3, 9), "123"},
        {digitsof(255, 9), "123?"},
        {digitsof(255, 3), "12"},
        {addressfield("123456", false), "0681214365"},
        {addressfield("nobody"), "0091"},
        {addressfield(std::string(58, '1')), "3A91" + std::string(58, '1')},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.first, row.second) << "row " << &row - rows;
}

TEST(submit, longestPduIsCountedWithoutServiceCentre)
{
    char pdu[modem_pdumax];
    int length = 0;
    char text[81];
    modem_copytext(text, std::string(80, '\xC0'));
    const std::string number(58, '1');
    EXPECT_EQ(modem_getpdupack(number.c_str(), text, pdu, length), 0);
    EXPECT_EQ(pdu, "000100" + addressfield(number) + "0008A0" + ucs2of(text, sizeof(pdu)));
    EXPECT_EQ(length, 196);
}

}  // namespace
