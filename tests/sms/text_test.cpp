// SPDX-License-Identifier: ISC
// Conversions, both ways and at their limits.
#include "sms/text.h"

#include <array>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/sms/traces.h"

namespace
{

TEST(text, convertsBothWays)
{
    const struct {
        const char *name;
        std::string cp1251;
        std::string ucs2;
        bool back = true;  // the UCS2 text comes from the CP1251 one, too
    } conversions[] = {
        {"russian word", "\xCF\xF0\xE8\xE2\xE5\xF2", "041F04400438043204350442"},
        {"ascii", "Hi", "00480069"},
        {"letters IO", "\xA8\xB8", "04010451"},
        {"tilde is the last common code", "~", "007E"},
        {"ends of the alphabet", "\xC0\xFF", "0410044F"},
        {"no character of their own", "\x80\xB9\x7F", "03D0040903CF"},
        {"U+0000 is a blank", " ", "0000", false},
        {"U+034F keeps its low octet", "\x4F", "034F", false},
        {"no-break space, euro, number sign", "\xA0\x5C\xC6", "00A020AC2116", false},
        {"lower-case digits, no digits", "\xCF\x41", "041fxy41", false},
    };
    for (const auto &c : conversions) {
        std::array<char, 64> out;
        EXPECT_EQ(modem_ucs2tocp1251(out, c.ucs2), 0) << c.name;
        EXPECT_EQ(out.data(), c.cp1251) << c.name;
        if (!c.back) continue;
        EXPECT_EQ(modem_cp1251toucs2(c.cp1251.c_str(), out), 0) << c.name;
        EXPECT_EQ(out.data(), c.ucs2) << c.name;
    }
}

TEST(text, refusedUcs2LeavesTheOutputAlone)
{
    const std::pair<std::string_view, const char *> refusals[] = {
        {{}, "modem_ucs2tocp1251: pstrucs2 is null\n"},
        {"", "modem_ucs2tocp1251: lenstrucs2=0 < 4\n"},
        {"04", "modem_ucs2tocp1251: lenstrucs2=2 < 4\n"},
        {"041F04", "modem_ucs2tocp1251: lenstrucs2=6 % 4 is true\n"},
    };
    char out[8] = "before";
    for (const auto &refusal : refusals) {
        EXPECT_EQ(tracesof([&] { EXPECT_EQ(modem_ucs2tocp1251(out, refusal.first), -1); }),
                  refusal.second);
        EXPECT_STREQ(out, "before") << refusal.second;
    }
    EXPECT_EQ(tracesof([&] {
                  EXPECT_EQ(modem_ucs2tocp1251({}, "041F"), -1);
                  EXPECT_EQ(modem_cp1251toucs2(nullptr, {}), -1);
                  EXPECT_EQ(modem_cp1251toucs2("a", {}), -1);
                  EXPECT_EQ(modem_cp1251toucs2("abc", out), 0);
              }),
              "modem_ucs2tocp1251: pcp1251 is null\n"
              "modem_cp1251toucs2: pcp1251 is null\n"
              "modem_cp1251toucs2: pstrucs2 is null\n"
              "modem_cp1251toucs2: lencp1251=3\n");
    EXPECT_STREQ(out, "0061") << "whole characters only";
}

TEST(text, outputsEndAtTheirCapacity)
{
    std::vector<char> text(3);
    EXPECT_EQ(modem_ucs2tocp1251(text, "0041004200430044"), 0);
    EXPECT_STREQ(text.data(), "AB");
    std::vector<std::uint8_t> octets(2);
    EXPECT_EQ(modem_hextobin("010203", octets), 2U);
    EXPECT_EQ(modem_hextobin({"0\0", 2}, octets), 0U);
    EXPECT_EQ(modem_hextobin("zfF01", octets), 2U) << "the lone digit is dropped";
    EXPECT_EQ(octets, (std::vector<std::uint8_t>{0x0F, 0xF0}));
    char hex[3];
    EXPECT_EQ(modem_bintohex(0x1AF, hex), 0);
    EXPECT_STREQ(hex, "AF");
}

TEST(text, unpacksAtMostWhatIsAskedAndThere)
{
    const std::vector<std::uint8_t> seven = {0x41, 0xE1, 0x90, 0x58, 0x34, 0x1E, 0x91};
    const struct {
        const char *name;
        std::vector<std::uint8_t> packed;
        std::size_t most;
        std::string septets;
    } unpackings[] = {
        {"eight letters in seven octets", seven, 8, "ABCDEFGH"},
        {"no ninth in seven octets", seven, 9, "ABCDEFGH"},
        {"one fewer asked", seven, 7, "ABCDEFG"},
        {"one asked", seven, 1, "A"},
        {"none asked", seven, 0, ""},
        {"one octet: its top bit is the second", {0xC1}, 9, "A\x01"},
        {"no octet", {}, 9, ""},
    };
    for (const auto &u : unpackings) {
        std::vector<std::uint8_t> out(u.most);
        out.resize(modem_unpack7bit(u.packed, out));
        EXPECT_EQ(std::string(out.begin(), out.end()), u.septets) << u.name;
    }
}

TEST(text, swappedNibbles)
{
    EXPECT_EQ(modem_decodebcd(0x42), 24U);
    EXPECT_EQ(modem_decodebcd(0xFF), 165U);
    const std::array<std::uint8_t, 2> octets = {0x21, 0xF3};
    std::array<char, 8> phone;
    EXPECT_EQ(modem_decodephone(octets, 3, phone), 3U);
    EXPECT_STREQ(phone.data(), "123");
    EXPECT_EQ(modem_decodephone(octets, 255, phone), 4U) << "cut at the octets";
    EXPECT_STREQ(phone.data(), "123?");
    EXPECT_EQ(modem_decodephone(octets, 255, {phone.data(), 3}), 2U) << "cut at the capacity";
}

}  // namespace
