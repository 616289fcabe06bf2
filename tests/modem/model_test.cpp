// SPDX-License-Identifier: ISC
// The modem that other tests rely on: its framing, its faults, and that it takes time to register.
#include <gtest/gtest.h>

#include "simulator/modem/pdu.h"
#include "tests/modem/talk.h"

using namespace simulator;

namespace
{

TEST(modem, repliesAreFramedAsTheDaemonReadsThem)
{
    constexpr struct {
        const char *name, *command, *reply;
    } rows[] = {
        {"identity is one line", "AT+CGMM", "\r\nLTE-MODEM-1\r\n\r\nOK\r\n"},
        {"value line", "AT+CADC=2", "\r\n+CADC: 1500\r\n\r\nOK\r\n"},
        {"lower case", "at+cadc=2", "\r\n+CADC: 1500\r\n\r\nOK\r\n"},
        {"one OK ends a chain", "AT+CGDRT=20,1;+CGDRT=12,1", "\r\nOK\r\n"},
        {"a chain stops at its error", "AT+CGSETV=99,1;+CADC=2", "\r\nERROR\r\n"},
        {"unknown", "AT+NOSUCH", "\r\nERROR\r\n"},
        {"quoted semicolon", "AT+CGDCONT=1,\"IP\",\"a;b\"", "\r\nOK\r\n"},
        {"longer name is another command", "AT+CGMMX", "\r\nERROR\r\n"},
        {"no message at an index", "AT+CMGR=3", "\r\nOK\r\n"},
        {"index beyond the storage", "AT+CMGR=11", "\r\n+CMS ERROR: Invalid memory index\r\n"},
        {"value not accepted", "AT+CFUN=9", "\r\n+CME ERROR: Incorrect parameters\r\n"},
        {"word not accepted", "AT+CNMP=3", "\r\nERROR\r\n"},
        {"last word accepted", "AT+CNMP=38", "\r\nOK\r\n"},
        {"prompt", "AT+CMGS=15", "\r\n> "},
        {"storage", "AT+CPMS?", "\r\n+CPMS: \"SM\",0,10,\"SM\",0,10,\"SM\",0,10\r\n\r\nOK\r\n"},
    };
    for (const auto &row : rows) {
        modem_model modem = quiet();
        EXPECT_EQ(say(modem, std::string(row.command) + "\r"), row.reply) << row.name;
    }
}

TEST(modem, registersOnlySomeTimeAfterTheRadioIsOn)
{
    modem_model modem = quiet();
    (void)say(modem, "AT+CFUN=0\rAT+CFUN=1\r", 10000);
    EXPECT_EQ(say(modem, "AT+COPS?\r", 11499), "\r\n+COPS: 0\r\n\r\nOK\r\n");
    EXPECT_EQ(say(modem, "AT+COPS?\r", 11500), "\r\n+COPS: 0,0,\"Test Operator\",7\r\n\r\nOK\r\n");
    modem.slots[0].inserted = false;
    EXPECT_EQ(say(modem, "AT+COPS?\r", 11500), "\r\n+COPS: 0\r\n\r\nOK\r\n");
}

TEST(modem, faultsChangeTheReplyAndWearOff)
{
    const struct {
        const char *name;
        fault how;
        milliseconds now;
        const char *reply;
    } rows[] = {
        {"silence", {"AT+CG"}, 60000, ""},
        {"other commands are spared", {"AT+CGMMX"}, 0, "\r\nLTE-MODEM-1\r\n\r\nOK\r\n"},
        {"exact spares longer ones", {"AT+CG", true}, 0, "\r\nLTE-MODEM-1\r\n\r\nOK\r\n"},
        {"raw reply", {"at+cgmm", false, faultkind::reply, "x\r\n"}, 0, "x\r\n"},
        {"error", {"", false, faultkind::error}, 0, "\r\nERROR\r\n"},
        {"not yet", {"", false, faultkind::late, "", 50}, 49, ""},
        {"late", {"", false, faultkind::late, "", 50}, 50, "\r\nLTE-MODEM-1\r\n\r\nOK\r\n"},
        {"first pieces", {"", false, faultkind::split, "", 10, 3}, 19, "\r\nLTE-"},
        {"garbage", {"", false, faultkind::garbage, "#"}, 0, "#\r\nLTE-MODEM-1\r\n\r\nOK\r\n"},
        {"cut", {"", false, faultkind::cut}, 0, "\r\nLTE-MODEM-1\r\n\r\nOK"},
        {"flood",
         {"", false, faultkind::flood, "", 0, 2},
         0,
         "\r\n##\r\n\r\nLTE-MODEM-1\r\n\r\nOK\r\n"},
    };
    for (const auto &row : rows) {
        modem_model modem = quiet();
        modem.faults.push_back(row.how);
        modem.faults.back().times = 1;
        feed(modem, at_port, "AT+CGMM\r", 0);
        EXPECT_EQ(take(modem, at_port, row.now), row.reply) << row.name;
        (void)take(modem, at_port, 60000);
        EXPECT_EQ(say(modem, "AT\r", 60000), "\r\nOK\r\n") << row.name << ", once only";
    }
}

TEST(modem, buildsPdusThatMatchKnownOctets)
{
    const std::string head = "07919761000000F0";
    const std::string from = "0B919761214365F700";
    const std::string time = "42116171204021";
    message text;
    EXPECT_EQ(tohex(pack7bit(encode(coding::bit7, "hellohello"))), "E8329BFD4697D9EC37");
    EXPECT_EQ(splitpdus(text, "hellohello", {})[0],
              head + "04" + from + "00" + time + "0AE8329BFD4697D9EC37");
    text.how = coding::ucs2;
    EXPECT_EQ(splitpdus(text, "Aя", {0x1234, true}, 1)[1],
              head + "44" + from + "08" + time + "09" + "06080412340202" + "044F");
    text.how = coding::bit8;
    EXPECT_EQ(splitpdus(text, "Яё", {})[0], head + "04" + from + "04" + time + "02" + "DFB8");
    // Six header octets and a fill bit take seven septets: TP-UDL 8, the letter one bit up.
    text.how = coding::bit7;
    EXPECT_EQ(splitpdus(text, "hh", {0x3A}, 1)[0],
              head + "44" + from + "00" + time + "08" + "0500033A0201" + "D0");
    // An alphanumeric sender counts semi-octets: 49 bits are 13 of them.
    text.sender = "ABCDEFG";
    EXPECT_EQ(splitpdus(text, "h", {})[0].substr(16, 20), "040DD041E19058341E01");
    EXPECT_EQ(splitpdus(text, std::string(161, 'a'), {}).size(), 2U);
}

}  // namespace
