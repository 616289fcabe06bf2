// SPDX-License-Identifier: ISC
// What becomes of the modem's replies: those of docs/replies.md, and what lies at the limits.
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
                  const std::function<std::string(const std::string &)> &shown)
{
    const auto rows = readtable("replies.md", heading);
    EXPECT_EQ(rows.size(), count) << heading;
    for (const auto &cells : rows)
        EXPECT_EQ(shown("\r\n" + cells[0] + "\r\n\r\nOK\r\n"), cells[1]) << cells[0];
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

TEST(signal, fieldsShowAsTheDocumentSays)
{
    expect_table("Signal", 22, signal);
    const std::string lte = "+CPSI: LTE,Online,,,,,,,,,12,36,42,5";
    const std::string shown = "4g/LTE good -68.00 -104.00 -14.00 ";
    EXPECT_EQ(signal(lte), shown + "0.00 -124.00 -20.00");  // no end of the last field
    for (const char *before : {"AT+CPSI?\r\r\n", "          \r\r\n"})
        EXPECT_EQ(signal(before + lte + "\r\n"), shown + "5.00 -124.00 -20.00");
    EXPECT_EQ(signal("LTE,+CPSI:"), "nothing");
    EXPECT_EQ(signal(""), "nothing");
}

TEST(signal, levelsChangeAtTheirBounds)
{
    const char *const levels[] = {"no signal", "weak", "medium", "good", "excellent"};
    const struct {
        std::string before;
        const char *behind;
        std::pair<const char *, const char *> bounds[4];  // the last value below, the first above
    } rows[] = {
        {"+CPSI: GSM,,,,,,",
         ",",
         {{"-110", "-109.9"}, {"-100", "-99.9"}, {"-86", "-85.9"}, {"-70.1", "-70"}}},
        {"+CPSI: LTE,,,,,,,,,,,,", ",", {{"15", "16"}, {"25", "26"}, {"35", "36"}, {"45", "46"}}},
    };
    const auto level = [](const std::string &reply) {
        modem_status status = {};
        EXPECT_EQ(modem_parsesysinfo(status, reply), 1);
        return std::string(status.info.network.level);
    };
    for (const auto &[before, behind, bounds] : rows) {
        for (unsigned i = 0; i < std::size(bounds); i++) {
            EXPECT_EQ(level(before + bounds[i].first + behind), levels[i]) << bounds[i].first;
            EXPECT_EQ(level(before + bounds[i].second + behind), levels[i + 1]) << bounds[i].second;
        }
    }
    for (unsigned steps = 0; steps < std::size(levels); steps++)
        EXPECT_EQ(modem_levelindex(levels[steps]), steps);
    EXPECT_EQ(modem_levelindex(""), 4U);
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

TEST(gnss, fieldsShowAsTheDocumentSays)
{
    expect_table("Position", 10, position);
    EXPECT_EQ(position(""), "the defaults");
}

constexpr char fix[] =
    "\r\n+CGNSSINFO: 3,5,2,0,1,5546.123456,N,03737.654321,E,150324,093015.00,156.4,0.0,,1.21,0.834,"
    "0.95,7\r\n\r\nOK\r\n";

// The report above with its field `number`, from 1, exchanged.
std::string with(unsigned number, const std::string &text)
{
    const std::string reply = fix;
    std::size_t begin = reply.find(": ") + 2;
    for (unsigned i = 1; i < number; i++)
        begin = reply.find(',', begin) + 1;
    return reply.substr(0, begin) + text + reply.substr(reply.find_first_of(",\r", begin));
}

TEST(gnss, oneFieldShowsInOnePlace)
{
    const std::string usual =
        "available 3d 5546.1235352 north 3737.6542969 east 156.40 1.21 0.83 0.95 7 8 15-03-2024 "
        "09:30:15";
    const std::string digits(40, '9');
    const struct {
        unsigned number;  // of the field that differs
        std::string text, former, shown;
    } rows[] = {
        {1, "", "3d", "2d"},
        {1, "12", "3d", "12"},
        {2, "4294967295", "7 8", "7 2"},
        {6, "", "5546.1235352", "0.0000000"},
        {6, "x", "5546.1235352", "0.0000000"},
        {6, "nan", "5546.1235352", "nan"},
        {6, digits, "5546.1235352", "999999984824320"},
        {7, "S", "north", "south"},
        {7, "", "north", "north"},
        {7, "North", "north", "-"},
        {7, "n", "north", "-"},
        {9, "W", "east", "west"},
        {9, "", "east", "east"},
        {9, "EE", "east", "-"},
        {10, "", "15-03-2024", "00-00-2000"},
        {10, "150", "15-03-2024", "15-0-20"},
        {10, digits, "15-03-2024", "99-99-2099"},
        {11, "", "09:30:15", "00:00:00"},
        {12, "-1e999", "156.40", "-inf"},
        {18, "2", "7 8", "2 8"},
        {18, "4294967295", "7 8", "4294 8"},
    };
    EXPECT_EQ(position(fix), usual);
    for (const auto &[number, text, former, shown] : rows) {
        std::string expected = usual;
        expected.replace(expected.find(former), former.size(), shown);
        EXPECT_EQ(position(with(number, text)), expected) << number << " " << text;
    }
    EXPECT_EQ(position(with(18, "1")), "the defaults");
    EXPECT_EQ(position(with(18, "")), "the defaults");
    const std::string noend = with(18, "7").substr(0, with(18, "7").find('\r', 2));
    EXPECT_EQ(position(noend), "the defaults");
}

TEST(provider, isTheTextBetweenTheFirstQuotes)
{
    const auto provider = [](const std::string &reply) {
        modem_status status = {};
        modem_copytext(status.info.network.provider, "not registered");
        modem_parseprovider(status, reply);
        const std::string text = status.info.network.provider;
        EXPECT_EQ(modem_isregistered(reply), text != "not registered") << reply;
        return text.empty() ? "nothing" : text;
    };
    expect_table("Operator", 9, provider);
    EXPECT_EQ(provider("\""), "nothing");
    EXPECT_EQ(provider("\"" + std::string(31, 'p') + "\""), std::string(31, 'p'));
}

TEST(replies, chatterIsTakenForWhatTheDocumentSays)
{
    const char *const words[] = {"OK", "an error", "the begin of one", "nothing"};
    for (const auto &cells : readtable("replies.md", "Chatter"))
        EXPECT_EQ(words[static_cast<int>(modem_classify("\r\n" + cells[0], "OK\r\n"))], cells[1])
            << cells[0];
}

std::string word(std::string_view reply, const char *marker = nullptr)
{
    return std::string(modem_readword(reply, marker));
}

std::string lock(std::string_view reply)
{
    return std::string(modem_readsimlock(reply));
}

// Places of the message storage.
std::string places(std::string_view reply)
{
    return std::to_string(modem_readcapacity(reply));
}

// A bit each.
std::string slots(std::string_view reply)
{
    const std::optional<unsigned> mask = modem_readslots(reply);
    return mask ? std::to_string(*mask) : "none";
}

TEST(replies, wordsAndNumbersAreTakenFromTheirPlaces)
{
    const std::pair<std::string, const char *> rows[] = {
        {word("\r\nLTE-MODEM-1\r\n\r\nOK\r\n"), "LTE-MODEM-1"},
        {word("\r\n two words\r\nOK\r\n"), "two"},
        {word("\r\n+CGMR: LM1.04\r\n\r\nOK\r\n", "+CGMR:"), "LM1.04"},
        {word("+CGMR:LM1.04 built today\r\n", "+CGMR:"), "LM1.04"},
        {word("\r\nRDY\r\n+CGMR: LM1.04\r\n", "+CGMR:"), ""},
        {word("\r\n+CGMR:", "+CGMR:"), ""},
        {word(""), ""},
        {word("\r\n", "+CGMR:"), ""},
        {lock("\r\n+CPIN: READY\r\n\r\nOK\r\n"), "READY"},
        {lock("\r\n+CPIN: PH-SIM PIN\r\n"), "PH-SIM PIN"},
        {lock("SMS DONE\r\n+CPIN: SIM PUK\r"), "SIM PUK"},
        {lock("\r\n+CPIN: READY"), ""},
        {lock("\r\n+CPIN:READY\r\n"), ""},
        {lock("\r\nOK\r\n"), ""},
        {places("\r\n+CPMS: \"SM\",0,40,\"ME\",1,50,\"MT\",2,60\r\n\r\nOK\r\n"), "40"},
        {places("\r\n+CPMS: \"SM\",3,255,\"SM\",3,255\r\n"), "255"},
        {places("\r\n+CPMS: \"SM\",3,256,\"SM\""), "255"},
        {places("\r\n+CPMS: \"SM\",0,40\r\n\r\nOK\r\n"), "0"},
        {places("\r\n+CPMS: \"SM\",0,,\"SM\""), "0"},
        {places("\r\n+CPMS: \"SM\",0,many,\"SM\""), "0"},
        {places(""), "0"},
        {slots("\r\n+CADC: 0\r\n\r\nOK\r\n"), "0"},
        {slots("+CADC: 769\r"), "0"},
        {slots("+CADC: 770\r"), "1"},
        {slots("+CADC: 1009\r"), "1"},
        {slots("+CADC: 1010\r"), "2"},
        {slots("+CADC: 1389\r"), "2"},
        {slots("+CADC: 1390\r"), "3"},
        {slots("+CADC: 99999\r"), "3"},
        {slots("+CADC: 770\n"), "none"},
        {slots("+CADC: \r\n"), "none"},
        {slots("OK\r"), "none"},
        {slots(""), "none"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.first, row.second) << "row " << &row - rows;
}

}  // namespace
