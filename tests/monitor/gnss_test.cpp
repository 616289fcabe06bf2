// SPDX-License-Identifier: ISC
// The GNSS report: fields present, empty, missing and over-long.
#include "monitor/gnss.h"

#include <string>

#include <gtest/gtest.h>

#include "core/record/text.h"

namespace
{

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
    const std::string digits(40, '9');
    const struct {
        const char *name;
        std::string reply;
        modem_field (*field)(modem_status &);
        const char *expected;
    } cases[] = {
        {"state", fix, FIELD(info.gnss.state), "available"},
        {"mode", fix, FIELD(info.gnss.fixation), "3d"},
        {"latitude as a float", fix, FIELD(info.gnss.latitude), "5546.1235352"},
        {"longitude as a float", fix, FIELD(info.gnss.longitude), "3737.6542969"},
        {"altitude", fix, FIELD(info.gnss.altitude), "156.40"},
        {"pdop", fix, FIELD(info.gnss.pdop), "1.21"},
        {"hdop", fix, FIELD(info.gnss.hdop), "0.83"},
        {"vdop", fix, FIELD(info.gnss.vdop), "0.95"},
        {"used", fix, FIELD(info.gnss.validsvs), "7"},
        {"sum of counts", fix, FIELD(info.gnss.cntsvs), "8"},
        {"date and time", fix, FIELD(info.gnss.datetime), "15-03-2024 09:30:15"},
        {"empty mode is 2", with(1, ""), FIELD(info.gnss.fixation), "2d"},
        {"mode is cut", with(1, "12"), FIELD(info.gnss.fixation), "12"},
        {"empty latitude", with(6, ""), FIELD(info.gnss.latitude), "0.0000000"},
        {"latitude is cut", with(6, digits), FIELD(info.gnss.latitude), "999999984824320"},
        {"no number", with(6, "x"), FIELD(info.gnss.latitude), "0.0000000"},
        {"nan", with(6, "nan"), FIELD(info.gnss.latitude), "nan"},
        {"exponent overflows", with(12, "-1e999"), FIELD(info.gnss.altitude), "-inf"},
        {"south", with(7, "S"), FIELD(info.gnss.ns), "south"},
        {"west", with(9, "W"), FIELD(info.gnss.ew), "west"},
        {"empty letter is north", with(7, ""), FIELD(info.gnss.ns), "north"},
        {"count of digits", with(18, "4294967295"), FIELD(info.gnss.validsvs), "4294"},
        {"counts wrap", with(2, "4294967295"), FIELD(info.gnss.cntsvs), "2"},
        {"no date", with(10, ""), FIELD(info.gnss.datetime), "00-00-2000 09:30:15"},
        {"no time", with(11, ""), FIELD(info.gnss.datetime), "15-03-2024 00:00:00"},
        {"short date", with(10, "150"), FIELD(info.gnss.datetime), "15-0-20 09:30:15"},
        {"long date", with(10, digits), FIELD(info.gnss.datetime), "99-99-2099 09:30:15"},
    };
    for (const auto &c : cases) {
        modem_status status = {};
        EXPECT_EQ(modem_parsegnssinfo(status, c.reply), 1) << c.name;
        EXPECT_STREQ(c.field(status).text, c.expected) << c.name;
    }
}

TEST(gnss, unknownHemisphereLeavesItsField)
{
    for (const char *letter : {"X", "n", "NN", "North", "SOUTH"}) {
        modem_status status = {};
        modem_copytext(status.info.gnss.ns, "south");
        EXPECT_EQ(modem_parsegnssinfo(status, with(7, letter)), 1) << letter;
        EXPECT_STREQ(status.info.gnss.ns, "south") << letter;
        modem_copytext(status.info.gnss.ew, "west");
        EXPECT_EQ(modem_parsegnssinfo(status, with(9, letter)), 1) << letter;
        EXPECT_STREQ(status.info.gnss.ew, "west") << letter;
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
    for (const auto &[name, reply] : cases) {
        modem_status status = {};
        modem_parsegnssinfo(status, fix);
        EXPECT_EQ(modem_parsegnssinfo(status, reply), 0) << name;
        EXPECT_STREQ(status.info.gnss.state, "unavailable") << name;
        EXPECT_STREQ(status.info.gnss.latitude, "0") << name;
        EXPECT_STREQ(status.info.gnss.datetime, "01-01-2000 00:00:00") << name;
    }
}

}  // namespace
