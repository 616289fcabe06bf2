// SPDX-License-Identifier: ISC
// The GNSS report: fields present, empty, missing and over-long.
#include "monitor/gnss.h"

#include <string>

#include <gtest/gtest.h>

#include "core/record/text.h"

namespace
{

constexpr modem_field (*fields[])(modem_status &) = {
    FIELD(info.gnss.state),    FIELD(info.gnss.fixation),  FIELD(info.gnss.latitude),
    FIELD(info.gnss.ns),       FIELD(info.gnss.longitude), FIELD(info.gnss.ew),
    FIELD(info.gnss.altitude), FIELD(info.gnss.pdop),      FIELD(info.gnss.hdop),
    FIELD(info.gnss.vdop),     FIELD(info.gnss.validsvs),  FIELD(info.gnss.cntsvs),
    FIELD(info.gnss.datetime),
};

// What the reply makes of fields that hold no default.
std::string parsed(const std::string &reply, int result)
{
    modem_status status = {};
    for (const auto &field : fields)
        modem_copytext(field(status), "-");
    EXPECT_EQ(modem_parsegnssinfo(status, reply), result);
    std::string text;
    for (const auto &field : fields)
        text += (text.empty() ? "" : " ") + std::string(field(status).text);
    return text;
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

TEST(gnss, fixIsPublishedAsTheFieldsHoldIt)
{
    const std::string start = "available 3d 5546.1235352 north 3737.6542969 east 156.40 ";
    const std::string values = "1.21 0.83 0.95 7 8 15-03-2024 09:30:15";
    EXPECT_EQ(parsed(fix, 1), start + values);
    const std::string digits(40, '9');
    const struct {
        const char *name;
        unsigned number;  // of the field that differs
        std::string text;
        modem_field (*field)(modem_status &);
        const char *expected;
    } cases[] = {
        {"two satellites", 18, "2", FIELD(info.gnss.validsvs), "2"},
        {"empty mode is 2", 1, "", FIELD(info.gnss.fixation), "2d"},
        {"mode is cut", 1, "12", FIELD(info.gnss.fixation), "12"},
        {"empty latitude", 6, "", FIELD(info.gnss.latitude), "0.0000000"},
        {"latitude is cut", 6, digits, FIELD(info.gnss.latitude), "999999984824320"},
        {"no number", 6, "x", FIELD(info.gnss.latitude), "0.0000000"},
        {"nan", 6, "nan", FIELD(info.gnss.latitude), "nan"},
        {"exponent overflows", 12, "-1e999", FIELD(info.gnss.altitude), "-inf"},
        {"north", 7, "N", FIELD(info.gnss.ns), "north"},
        {"south", 7, "S", FIELD(info.gnss.ns), "south"},
        {"empty letter is north", 7, "", FIELD(info.gnss.ns), "north"},
        {"east", 9, "E", FIELD(info.gnss.ew), "east"},
        {"west", 9, "W", FIELD(info.gnss.ew), "west"},
        {"empty letter is east", 9, "", FIELD(info.gnss.ew), "east"},
        {"count of digits", 18, "4294967295", FIELD(info.gnss.validsvs), "4294"},
        {"counts wrap", 2, "4294967295", FIELD(info.gnss.cntsvs), "2"},
        {"no date", 10, "", FIELD(info.gnss.datetime), "00-00-2000 09:30:15"},
        {"no time", 11, "", FIELD(info.gnss.datetime), "15-03-2024 00:00:00"},
        {"short date", 10, "150", FIELD(info.gnss.datetime), "15-0-20 09:30:15"},
        {"long date", 10, digits, FIELD(info.gnss.datetime), "99-99-2099 09:30:15"},
    };
    modem_status status = {};  // one follows the other: east comes after west, too
    for (const auto &c : cases) {
        EXPECT_EQ(modem_parsegnssinfo(status, with(c.number, c.text)), 1) << c.name;
        EXPECT_STREQ(c.field(status).text, c.expected) << c.name;
        EXPECT_EQ(modem_parsegnssinfo(status, with(7, "S")), 1);
        EXPECT_EQ(modem_parsegnssinfo(status, with(9, "W")), 1);
    }
    for (const char *letter : {"X", "n", "NN", "North", "SOUTH"}) {
        EXPECT_EQ(parsed(with(7, letter), 1),
                  "available 3d 5546.1235352 - 3737.6542969 east 156.40 " + values);
        EXPECT_EQ(parsed(with(9, letter), 1),
                  "available 3d 5546.1235352 north 3737.6542969 - 156.40 " + values);
    }
}

TEST(gnss, withoutTwoSatellitesTheDefaultsStand)
{
    const std::string whole = fix;
    const std::pair<const char *, std::string> cases[] = {
        {"one satellite", with(18, "1")},
        {"no count", with(18, "")},
        {"no fix yet", "\r\n+CGNSSINFO: ,,,,,,,,,,,,,,,\r\n\r\nOK\r\n"},
        {"error", "\r\nERROR\r\n"},
        {"end of the last field is missing", whole.substr(0, whole.find('\r', 2))},
        {"one comma too few", "\r\n+CGNSSINFO: 3,5,2,0,1,1.0,N,1.0,E,1,2,3,,,1,1,7\r\n"},
        {"nothing", ""},
    };
    for (const auto &[name, reply] : cases)
        EXPECT_EQ(parsed(reply, 0), "unavailable 2d 0 north 0 east 0 0 0 0 0 0 01-01-2000 00:00:00")
            << name;
}

}  // namespace
