// SPDX-License-Identifier: ISC
// Decoding of received PDUs, which stand in the tables of docs/sms.md.
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
                                                           {"At the limits of the profile", 32}};
    for (const auto &[heading, count] : tables) {
        const auto rows = readtable("sms.md", heading);
        EXPECT_EQ(rows.size(), count) << heading;
        for (const auto &cells : rows) {
            SCOPED_TRACE(cells[0]);
            modem_deliver message;
            const bool isdropped = cells[1] == "dropped";
            const std::string sender = isdropped ? "" : cells[2] + ": ";
            EXPECT_EQ(becomes(cells[4], message), cells[1] + " " + sender + cells[3]);
            if (isdropped) continue;
            EXPECT_EQ(message.length, cells[0] == "@" ? 3 : cells[3].size());
            char part[64] = "";
            if (message.part > 0)
                std::snprintf(part, sizeof(part), "part %u of %u, reference %02X%02X", message.part,
                              message.countparts, message.randref[0], message.randref[1]);
            EXPECT_TRUE(cells[0].starts_with(part)) << part;
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

TEST(deliver, tracesTheWayThroughAPart)
{
    // Its time stamp has impossible digits.
    const std::string part =
        "07919761989901F0440B919761214365F70010FFFFFFFFFFFFFF0C0500033A0201906536FB0D";
    modem_deliver message;
    std::vector<std::uint8_t> octets(part.size() / 2);
    modem_hextobin(part, octets);
    EXPECT_EQ(tracesof([&] { EXPECT_TRUE(modem_decodedeliver(part, octets, message)); }),
              "modem_readsms: sender_phone_number=79161234567\n"
              "modem_readsms: timestamp=165-165-20165 165:1, timezone=165\n"
              "modem_readsms: TP-UDH[4](count parts)=0x02\n"
              "modem_readsms: TP-UDH[5](num part)=0x01\n"
              "modem_readsms: TP-UDL=12, buffer_length=5\n"
              "modem_readsms: TP-DCS=7-bit\n");
}

}  // namespace
