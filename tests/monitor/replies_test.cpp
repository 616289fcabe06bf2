// SPDX-License-Identifier: ISC
// What becomes of the modem's replies: the tables of docs/replies.md.
#include "config/replies.h"

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "at/reply.h"
#include "core/record/text.h"
#include "indicators/adc.h"
#include "monitor/gnss.h"
#include "monitor/signal.h"
#include "sms/storage.h"
#include "tests/support/table.h"

namespace
{

// Runs every reply of a table in docs/replies.md through a parser.
void expect_table(const char *heading,
                  std::size_t count,
                  const std::function<std::string(const std::string &)> &shown,
                  std::size_t column = 1)
{
    const auto rows = readtable("replies.md", heading);
    EXPECT_EQ(rows.size(), count) << heading;
    for (const auto &cells : rows)
        EXPECT_EQ(shown("\r\n" + cells[0] + "\r\n\r\nOK\r\n"), cells[column]) << cells[0];
}

template <typename texts>
std::string joined(const texts &fields)
{
    std::string text;
    for (const char *field : fields)
        text += " " + std::string(field);
    return text.substr(1);
}

// An unknown technology leaves its word alone.
std::string signal(const std::string &reply)
{
    modem_status status = {};
    const auto &network = status.info.network;
    const int result = modem_parsesysinfo(status, reply);
    const char *const fields[] = {network.type, network.level, network.rssi, network.rsrp,
                                  network.rsrq, network.sinr,  network.rscp, network.ecio};
    const std::string text = joined(fields);
    if (result == 1) return text;
    EXPECT_TRUE(text.ends_with("       ")) << text;
    return text == "       " ? "nothing" : network.type;
}

TEST(signal, fieldsAndLevelsShowAsTheDocumentSays)
{
    expect_table("Signal", 24, signal);
    expect_table("Levels", 16, signal);
    const char *const levels[] = {"no signal", "weak", "medium", "good", "excellent"};
    for (unsigned steps = 0; steps < std::size(levels); steps++)
        EXPECT_EQ(modem_levelindex(levels[steps]), steps);
}

// All thirteen fields, beginning with values that are no defaults.
std::string position(const std::string &reply)
{
    modem_status status = {};
    auto &gnss = status.info.gnss;
    char *const fields[] = {gnss.state,    gnss.fixation, gnss.latitude, gnss.ns,   gnss.longitude,
                            gnss.ew,       gnss.altitude, gnss.pdop,     gnss.hdop, gnss.vdop,
                            gnss.validsvs, gnss.cntsvs,   gnss.datetime};
    for (char *field : fields)
        field[0] = '-';
    const int result = modem_parsegnssinfo(status, reply);
    EXPECT_EQ(result == 1, std::string("available") == gnss.state) << result;
    const std::string text = joined(fields);
    return text == "unavailable 2d 0 north 0 east 0 0 0 0 0 0 01-01-2000 00:00:00" ? "the defaults"
                                                                                   : text;
}

// The report with its field `number`, from 1, exchanged.
std::string with(const std::string &report, int number, const std::string &text)
{
    std::size_t begin = report.find(": ") + 2;
    for (int i = 1; i < number; i++)
        begin = report.find(',', begin) + 1;
    return report.substr(0, begin) + text + report.substr(report.find_first_of(",\r", begin));
}

TEST(gnss, fieldsShowAsTheDocumentSays)
{
    expect_table("Position", 10, position);
    const auto first = readtable("replies.md", "Position").at(0);
    const std::string report = first[0] + "\r\n";
    const auto rows = readtable("replies.md", "Position, field by field");
    EXPECT_EQ(rows.size(), 22U);
    for (const auto &cells : rows) {
        std::string expected = first[1];
        expected.replace(expected.find(cells[2]), cells[2].size(), cells[3]);
        EXPECT_EQ(position(with(report, std::stoi(cells[0]), cells[1])), expected) << cells[0];
    }
    for (const char *few : {"1", ""})
        EXPECT_EQ(position(with(report, 18, few)), "the defaults");
}

TEST(provider, isTheTextBetweenTheFirstQuotes)
{
    expect_table("Operator", 9, [](const std::string &reply) {
        modem_status status = {};
        modem_copytext(status.info.network.provider, "not registered");
        modem_parseprovider(status, reply);
        const std::string text = status.info.network.provider;
        EXPECT_EQ(modem_isregistered(reply), text != "not registered") << reply;
        return text.empty() ? "nothing" : text;
    });
}

TEST(replies, chatterIsTakenForWhatTheDocumentSays)
{
    const char *const words[] = {"OK", "an error", "the begin of one", "nothing"};
    for (const auto &cells : readtable("replies.md", "Chatter"))
        EXPECT_EQ(words[static_cast<int>(modem_classify("\r\n" + cells[0], "OK\r\n"))], cells[1])
            << cells[0];
}

TEST(replies, wordsAndNumbersAreTakenFromTheirPlaces)
{
    const char *const markers[] = {nullptr, "+CGMR:"};
    for (const std::size_t column : {1U, 2U})
        expect_table(
            "Words of the initialisation", 6,
            [&](const std::string &reply) {
                return std::string(modem_readword(reply, markers[column - 1]));
            },
            column);
    expect_table("Card", 5, [](const std::string &reply) {
        const std::string word(modem_readsimlock(reply));
        return word.empty() ? "nothing" : word;
    });
    expect_table("Message storage", 7, [](const std::string &reply) {
        return std::to_string(modem_readcapacity(reply));
    });
    expect_table("Slots", 10, [](const std::string &reply) {
        const char *const slots[] = {"none", "slot 1", "slot 2", "both", "no number"};
        return slots[modem_readslots(reply).value_or(4)];
    });
}

}  // namespace
