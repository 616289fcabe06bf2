// SPDX-License-Identifier: ISC
// Decoding of received PDUs: most stand in the tables of docs/sms.md, the longest and the parts of
// long messages here.
#include "sms/deliver.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sms/text.h"
#include "tests/sms/traces.h"
#include "tests/support/table.h"

namespace
{

// Decodes out of buffers of the very size, so that a sanitizer sees any octet read beyond. What
// becomes of it in words: "stored SENDER: TEXT", "held SENDER: TEXT", or "dropped CAUSE".
std::string becomes(const std::string &hex, modem_deliver &message)
{
    std::vector<std::uint8_t> octets(hex.size() / 2);
    modem_hextobin(hex, octets);
    const std::vector<char> text(hex.begin(), hex.end());
    bool decoded = false;
    std::string traces = tracesof([&] {
        decoded = modem_decodedeliver({text.data(), text.size()}, octets, message);
    });
    if (decoded)
        return (message.islong ? "held " : "stored ") + std::string(message.sender) + ": " +
               message.text;
    traces.pop_back();
    const std::size_t cause = traces.rfind("modem_readsms: ") + 15;
    return "dropped " + traces.substr(cause);
}

TEST(sms, realMessagesBecomeWhatTheTablesSay)
{
    const std::pair<const char *, std::size_t> tables[] = {{"What becomes of real messages", 40},
                                                           {"At the limits of the profile", 19}};
    for (const auto &[heading, count] : tables) {
        const auto rows = readtable("sms.md", heading);
        EXPECT_EQ(rows.size(), count) << heading;
        for (const auto &cells : rows) {
            modem_deliver message;
            const std::string sender = cells[1] == "dropped" ? "" : cells[2] + ": ";
            EXPECT_EQ(becomes(cells[4], message), cells[1] + " " + sender + cells[3]) << cells[0];
        }
    }
}

TEST(sms, sentCharactersGoOutAsTheTableSays)
{
    const auto rows = readtable("sms.md", "Sent");
    EXPECT_GE(rows.size(), 7U);
    for (const auto &cells : rows) {
        char digits[5];
        EXPECT_EQ(modem_cp1251toucs2(cells[1].c_str(), digits), 0);
        EXPECT_EQ(digits, cells[3]) << cells[0];
    }
}

const std::string head = "07919761989901F004";
const std::string digits = "0B919761214365F7";
const std::string timestamp = "42116171204021";

// ABCDEFGH, 7-bit, without a header; the same as the parts of other PDUs here.
const std::string plain = head + digits + "0000" + timestamp + "0841E19058341E91";
const std::string ucs2 = head + digits + "0008" + timestamp + "06041F04400438";
const std::string eightbit = head + digits + "0004" + timestamp;

std::string with(const std::string &hex, std::size_t octet, const std::string &value)
{
    return std::string(hex).replace(2 * octet, value.size(), value);
}

// "Hello", part 1 of 2 with reference 3A: seven septets are header.
const std::string narrow =
    with(head, 8, "44") + digits + "0010" + timestamp + "0C0500033A0201906536FB0D";
// "World", part 2 of 3 with reference 1234: eight septets are header.
const std::string wide =
    with(head, 8, "60") + digits + "0000" + timestamp + "0D06080412340302D7B79C4D06";

std::string repeated(const std::string &text, unsigned count)
{
    return count == 0 ? "" : text + repeated(text, count - 1);
}

TEST(deliver, keepsTheLongestTextsWhole)
{
    const std::string seventy = with(ucs2, 26, "8C").substr(0, 54) + repeated("0410", 70);
    const std::string of160 = plain.substr(0, 52) + "A0" + repeated("783C1E8FC7E3F1", 20);
    const std::string fill = "stored 79161234567: ";
    const struct {
        const char *name;
        std::string pdu, expected;
        unsigned length = 0;
    } rows[] = {
        {"70 ucs2 characters", seventy, fill + std::string(70, '\xC0'), 70},
        {"octets behind them", seventy + "04100410", fill + std::string(70, '\xC0'), 70},
        {"one octet of ucs2", with(ucs2, 26, "0104").substr(0, 56), fill, 0},
        {"160 septets", of160, fill + std::string(160, 'x'), 160},
        {"by the octets, not TP-UDL", eightbit + "01" + repeated("41", 141),
         fill + std::string(140, 'A'), 140},
        {"a NUL ends the text", eightbit + "03410042", fill + "A", 3},
    };
    for (const auto &row : rows) {
        modem_deliver message;
        EXPECT_EQ(becomes(row.pdu, message), row.expected) << row.name;
        EXPECT_EQ(message.length, row.length) << row.name;
    }
}

TEST(deliver, headersGiveReferencePartsAndPart)
{
    const struct {
        const char *name;
        std::string pdu;
        bool islong;
        unsigned reference[2], parts, part;
    } rows[] = {
        {"narrow", narrow, true, {0x3A, 0}, 2, 1},
        {"wide", wide, true, {0x12, 0x34}, 3, 2},
        {"type 40", with(narrow, 8, "40"), true, {0x3A, 0}, 2, 1},
        {"type 64", with(wide, 8, "64"), true, {0x12, 0x34}, 3, 2},
        {"nine parts are six", with(narrow, 31, "09"), true, {0x3A, 0}, 6, 1},
        {"sixth of six", with(narrow, 31, "0606"), true, {0x3A, 0}, 6, 6},
        {"a single part is complete", with(narrow, 31, "01"), false, {0x3A, 0}, 1, 1},
        {"so is one of none", with(narrow, 31, "00"), false, {0x3A, 0}, 0, 1},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        modem_deliver message;
        EXPECT_TRUE(becomes(row.pdu, message).starts_with(row.islong ? "held" : "stored"));
        EXPECT_EQ(message.randref[0], row.reference[0]);
        EXPECT_EQ(message.randref[1], row.reference[1]);
        EXPECT_EQ(message.countparts, row.parts);
        EXPECT_EQ(message.part, row.part);
    }
}

TEST(deliver, sixDataCodingsAreSupported)
{
    std::string supported;
    for (unsigned dcs = 0; dcs < 256; dcs++) {
        char hex[3];
        modem_bintohex(dcs, hex);
        modem_deliver message;
        if (becomes(with(plain, 18, hex), message).starts_with("stored"))
            supported += std::string(hex) + " ";
    }
    EXPECT_EQ(supported, "00 04 08 10 14 18 ");
}

TEST(deliver, tracesTheWayThroughAPart)
{
    const std::pair<std::string, std::string> rows[] = {
        {narrow, "16-11-2024 17:02:04, timezone=12"},
        {with(narrow, 19, "FFFFFFFFFFFFFF"), "165-165-20165 165:1, timezone=165"},
    };
    for (const auto &row : rows) {
        std::vector<std::uint8_t> octets(row.first.size() / 2);
        modem_hextobin(row.first, octets);
        modem_deliver message;
        EXPECT_EQ(tracesof([&] { EXPECT_TRUE(modem_decodedeliver(row.first, octets, message)); }),
                  "modem_readsms: sender_phone_number=79161234567\n"
                  "modem_readsms: timestamp=" +
                      row.second +
                      "\nmodem_readsms: TP-UDH[4](count parts)=0x02\n"
                      "modem_readsms: TP-UDH[5](num part)=0x01\n"
                      "modem_readsms: TP-UDL=12, buffer_length=5\n"
                      "modem_readsms: TP-DCS=7-bit\n");
    }
}

}  // namespace
