// SPDX-License-Identifier: ISC
// The table of docs/sms.md: every message becomes what the table says.
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sms/deliver.h"
#include "sms/text.h"
#include "tests/sms/traces.h"

namespace
{

// The cells of a table row, from 1, without the blanks or code marks around them.
std::vector<std::string> cells_of(const std::string &line)
{
    std::vector<std::string> cells;
    std::istringstream stream(line);
    for (std::string cell; std::getline(stream, cell, '|');) {
        const char around = cell.find('`') == std::string::npos ? ' ' : '`';
        const std::size_t begin = cell.find(around) + 1;
        const std::size_t end = cell.rfind(around);
        cells.push_back(begin < end && end < cell.size() ? cell.substr(begin, end - begin) : "");
    }
    return cells;
}

// "\x1B" to one octet.
std::string unescaped(std::string text)
{
    for (std::size_t at = 0; (at = text.find("\\x", at)) != std::string::npos; at++)
        text.replace(at, 4, 1, static_cast<char>(std::stoi(text.substr(at + 2, 2), nullptr, 16)));
    return text;
}

void expect_row(const std::string &becomes,
                const std::string &sender,
                const std::string &text,
                const std::string &pdu)
{
    std::uint8_t octets[231];
    const std::size_t count = modem_hextobin(pdu, octets);
    ASSERT_EQ(count * 2, pdu.size());
    modem_deliver message;
    bool decoded = false;
    const std::string traces = tracesof([&] {
        decoded = modem_decodedeliver(pdu, {octets, count}, message);
    });
    ASSERT_EQ(decoded, becomes != "dropped") << traces;
    if (!decoded) {
        EXPECT_NE(traces.find("modem_readsms: " + text + "\n"), std::string::npos) << traces;
        return;
    }
    EXPECT_EQ(message.islong, becomes == "held");
    EXPECT_EQ(message.sender, sender);
    EXPECT_EQ(message.text, unescaped(text));
}

TEST(sms, realMessagesBecomeWhatTheTableSays)
{
    std::ifstream file(SMS_TABLE);
    std::size_t rows = 0;
    for (std::string line; std::getline(file, line);) {
        const std::vector<std::string> cell = cells_of(line);
        if (cell.size() != 6 || !cell[5].starts_with('0')) continue;
        SCOPED_TRACE(cell[1]);
        expect_row(cell[2], cell[3], cell[4], cell[5]);
        rows++;
    }
    EXPECT_GE(rows, 40U);
}

TEST(sms, sentCharactersGoOutAsTheTableSays)
{
    std::ifstream file(SMS_TABLE);
    std::size_t rows = 0;
    for (std::string line; std::getline(file, line);) {
        const std::vector<std::string> cell = cells_of(line);
        if (cell.size() != 5 || !cell[2].starts_with("\\x")) continue;
        char digits[5];
        EXPECT_EQ(modem_cp1251toucs2(unescaped(cell[2]).c_str(), digits), 0);
        EXPECT_EQ(digits, cell[4]) << cell[1];
        rows++;
    }
    EXPECT_GE(rows, 7U);
}

}  // namespace
