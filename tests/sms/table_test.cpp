// The table of docs/sms.md: every message becomes what the table says.
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sms/deliver.h"
#include "sms/text.h"
#include "tests/sms/traces.h"

namespace
{

// The cells of a table row, without blanks and code marks around them.
std::vector<std::string> cells_of(const std::string &line)
{
    std::vector<std::string> cells;
    for (std::size_t at = 1; at < line.size();) {
        const std::size_t end = line.find(" |", at);
        if (end == std::string::npos) break;
        std::string cell = line.substr(at + 1, end < at + 1 ? 0 : end - at - 1);
        if (cell.size() >= 2 && cell.front() == '`' && cell.back() == '`' && cells.size() > 1)
            cell = cell.substr(1, cell.size() - 2);
        cells.push_back(cell);
        at = end + 2;
    }
    return cells;
}

// "\x1B" to one octet.
std::string unescaped(const std::string &text)
{
    std::string octets;
    for (std::size_t at = 0; at < text.size(); at++) {
        if (text.compare(at, 2, "\\x") != 0) {
            octets += text[at];
            continue;
        }
        octets += static_cast<char>(std::stoi(text.substr(at + 2, 2), nullptr, 16));
        at += 3;
    }
    return octets;
}

void expect_row(const std::vector<std::string> &row)
{
    const std::string &becomes = row[1];
    const std::string &pdu = row[4];
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
        EXPECT_NE(traces.find("modem_readsms: " + row[3] + "\n"), std::string::npos) << traces;
        return;
    }
    EXPECT_EQ(message.islong, becomes == "held");
    EXPECT_EQ(message.sender, row[2]);
    EXPECT_EQ(message.text, unescaped(row[3]));
}

TEST(sms, realMessagesBecomeWhatTheTableSays)
{
    std::ifstream file(SMS_TABLE);
    std::size_t rows = 0;
    for (std::string line; std::getline(file, line);) {
        const std::vector<std::string> row = cells_of(line);
        if (row.size() != 5 || row[4].find_first_not_of("0123456789ABCDEF") != std::string::npos)
            continue;
        SCOPED_TRACE(row[0]);
        expect_row(row);
        rows++;
    }
    EXPECT_GE(rows, 24U);
}

}  // namespace
