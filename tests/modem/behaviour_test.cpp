// SPDX-License-Identifier: ISC
// The modem does as it is told and takes the time that its profile gives it.
#include <fstream>
#include <span>
#include <sstream>

#include <gtest/gtest.h>

#include "tests/modem/talk.h"

using namespace simulator;

namespace
{

struct scene_row {
    milliseconds now;
    std::string command;
    std::string lines;        // of the AT port but empty ones and the last "OK", joined by '|'
    std::string second = {};  // of the other one
};

std::string joined(std::string text)
{
    if (text.ends_with("\r\nOK\r\n")) text.resize(text.size() - 6);
    std::string out;
    for (const char octet : text)
        if (octet != '\r') out += octet == '\n' ? '|' : octet;
    for (std::size_t at = 0; (at = out.find("||")) != std::string::npos;)
        out.erase(at, 1);
    while (out.ends_with('|'))
        out.pop_back();
    return out.starts_with('|') ? out.substr(1) : out;
}

void play(modem_model &modem, std::span<const scene_row> rows)
{
    for (const scene_row &row : rows) {
        const std::string input = row.command.empty() ? "" : row.command + "\r";
        EXPECT_EQ(joined(say(modem, input, row.now)), row.lines) << row.now << " " << row.command;
        EXPECT_EQ(joined(take(modem, second_port, row.now)), row.second)
            << row.now << " " << row.command;
    }
}

TEST(modem, registersWithTheTechnologyAndOperatorThatItIsTold)
{
    modem_model modem = quiet();
    modem.technologies = "LTE,GSM";
    modem.profile.reply = {{"LTE", "L"}, {"GSM", "G{rssi:-64}"}};
    modem.signal["rssi"] = "-71";
    const scene_row rows[] = {
        {2000, "AT+CPSI?", "+CPSI: L"},
        {2000, "AT+CNMP=13", ""},
        {3499, "AT+CPSI?", "+CPSI: NO SERVICE,Online"},
        {3500, "AT+CPSI?", "+CPSI: G-71"},
        {3500, "AT+COPS=3,2", ""},
        {3500, "AT+COPS?", "+COPS: 0,2,\"25099\",0"},
        {3500, "AT+CNMP=14", ""},
        {9000, "AT+COPS?", "+COPS: 0"},
        {9000, "AT+CNMP?", "+CNMP: 14"},
        {9000, "AT+CNMP=38", ""},
        {10500, "AT+COPS=2", ""},
        {10500, "AT+COPS?", "+COPS: 2"},
        {20000, "AT+COPS=1,2,\"26201\"", ""},
        {30000, "AT+COPS?", "+COPS: 1"},
        {30000, "AT+COPS=0,0", ""},
        {30000, "AT+COPS?", "+COPS: 0,0,\"Test Operator\",7"},
    };
    play(modem, rows);
}

TEST(modem, givesTheRouterAnAddressWithADataConnectionOnly)
{
    modem_model modem = quiet();
    const std::pair<const char *, const char *> rows[] = {
        {"AT+DIALMODE=0", ""},
        {"AT+CGDCONT=2,\"IP\"", ""},
        {"AT+CGDCONT=1,\"IP\"", "203.0.113.2"},
        {"AT+USBNETIP=0,10,117", "10.117.0.2"},
        {"AT+DIALMODE=1", ""},
        {"AT+DIALMODE=0;+USBNETIP=1", "203.0.113.2"},
        {"AT+COPS=2", ""},
        {"AT+COPS=0;+CFUN=4", ""},
    };
    for (const auto &[command, address] : rows) {
        (void)say(modem, std::string(command) + "\r", 5000);
        EXPECT_EQ(hostaddress(modem), address) << command;
    }
}

TEST(modem, codesUnlockTheCardWhileTriesAreLeft)
{
    modem_model modem = quiet();
    modem.slots[0].lock = "SIM PIN";
    const std::string wrong = "+CME ERROR: incorrect password";
    const std::string needspuk = "+CME ERROR: SIM PUK required";
    const scene_row locked[] = {
        {0, "AT+CPIN=1", wrong},
        {0, "AT+CIMI", "+CME ERROR: SIM PIN required"},
        {0, "AT+CPIN=\"1234\"", ""},
        {0, "AT+CPIN?", "+CPIN: READY"},
        {0, "AT+CIMI", "250990000000001"},
        {0, "AT+CPIN=1234", "+CME ERROR: operation not allowed"},
        {0, "AT+CLCK=\"SC\",2", "+CLCK: 1"},
    };
    play(modem, locked);
    (void)say(modem, "AT+CATR=2;+CFUN=0;+CFUN=4\r");
    (void)take(modem, second_port, 0);
    const scene_row again[] = {
        {0, "AT+CPIN=1", wrong},
        {0, "AT+CPIN=1", wrong},
        {0, "AT+CPIN?", "+CPIN: SIM PIN"},
        {0, "AT+CPIN=1", wrong},
        {0, "AT+CPIN?", "+CPIN: SIM PUK"},
        {0, "AT+CPIN=1234", needspuk},
        {0, "AT+CMGR=1", "+CMS ERROR: SIM PUK required"},
        {0, "AT+CPIN=1,4321", wrong},
        {0, "AT+CPIN=12345678,4321", "", "SMS DONE|PB DONE"},
        {0, "AT+CPIN?", "+CPIN: READY"},
        {0, "AT+CLCK=SC,0,4321", ""},
        {0, "AT+CFUN=0;+CFUN=4", "", "+CPIN: READY|SMS DONE|PB DONE"},
        {0, "AT+CLCK=SC,2", "+CLCK: 0"},
        {0, "AT+CLCK=SC,1,4321", ""},
        {0, "AT+CFUN=0;+CFUN=4", "", "+CPIN: SIM PIN"},
    };
    play(modem, again);
    modem.slots[0].lock = "SIM PUK";
    modem.slots[0].unlocked = false;
    for (int tries = 0; tries < 10; tries++)
        (void)say(modem, "AT+CPIN=1,4321\r");
    const scene_row dead[] = {{0, "AT+CPIN=12345678,4321", "+CME ERROR: SIM failure"}};
    play(modem, dead);
}

TEST(modem, saysUnaskedWhatItWasToldToSayWhereItWasToldTo)
{
    modem_model modem;
    modem.profile.boot = "AT+CREG=1";
    modem.profile.card_delay = 3000;
    modem.profile.sms_delay = 2000;
    modem.profile.phonebook_delay = 8000;
    modem.profile.chatter_interval = 50000;
    modem.profile.chatter = {"RING", "^DSCI: 1"};
    modem.ussd[""] = {"+CUSD: 2", 100};
    powercycle(modem, 0);
    const scene_row started[] = {
        {0, "ATE0;+CMEE=2", "RDY|ATE0;+CMEE=2", "RDY"},
        {2999, "AT+CIMI", "+CME ERROR: SIM busy"},
        {3000, "AT+CIMI", "+CPIN: READY|250990000000001", "+CPIN: READY"},
        {3000, "AT+CMGR=1", "+CMS ERROR: SIM busy"},
        {4500, "AT+CATR=2", "+CREG: 1", "+CREG: 1"},
        {5000, "AT+CMGR=1", "", "SMS DONE"},
        {11000, "", "", "PB DONE"},
    };
    play(modem, started);
    EXPECT_EQ(nextdue(modem), 50000);
    storemessage(modem, "00");
    const scene_row arrived[] = {
        {11000, "AT+CNMI=0", "", "+CMTI: \"SM\",1"},
        {11000, "AT+CUSD=1,\"1\",15", ""},
        {11000, "AT+CUSD=1,\"2\",15", ""},
    };
    play(modem, arrived);
    storemessage(modem, "00");
    const scene_row elsewhere[] = {
        {11050, "AT+CUSD=2", ""},
        {11200, "AT+CUSD=1,\"1\",15", ""},
        {11299, "", ""},
        {11300, "AT+COPS=2", "", "+CUSD: 2|+CREG: 0"},
        {11300, "AT+CATR=3", ""},
        {50000, "", "RING"},
        {50000, "AT+CFUN=0", ""},
        {60000, "AT+CFUN=4", ""},
        {63000, "", "+CPIN: READY"},
        {99999, "AT+CATR=1", "SMS DONE|PB DONE"},
        {100000, "", ""},
    };
    play(modem, elsewhere);
    modem.profile.stubborn = 1;
    const scene_row everywhere[] = {{150000, "", "RING", "RING"}};
    play(modem, everywhere);
    // The second port has kept its echo, and what is said comes before a reply or after it.
    modem.profile.reply_delay = 10;
    modem.profile.piece_size = 5;
    modem.profile.piece_delay = 1;
    feed(modem, second_port, "AT+CGMM\r", 200000);
    announce(modem, "X");
    EXPECT_EQ(take(modem, second_port, 200010), "\r\n^DSCI: 1\r\nAT+CGMM\r\r\nX\r\n\r\nLTE");
    announce(modem, "Y");
    EXPECT_EQ(take(modem, second_port, 200099), "-MODEM-1\r\n\r\nOK\r\n\r\nY\r\n");
}

TEST(modem, findsItsPlaceSomeTimeAfterTheReceiversPower)
{
    modem_model modem = quiet();
    modem.profile.fix_delay = 90000;
    modem.profile.reply = {{"fix", "F"}, {"nofix", "N"}};
    const scene_row rows[] = {
        {1000, "AT+CGNSSPWR=1", ""},
        {90999, "AT+CGNSSINFO", "+CGNSSINFO: N"},
        {90999, "AT+CGNSSPWR=1", ""},
        {91000, "AT+CGNSSINFO", "+CGNSSINFO: F"},
    };
    play(modem, rows);
}

TEST(modem, profilesAreReadToTheirFirstWrongLine)
{
    modem_profile profile;
    EXPECT_EQ(readprofile(profile, "# x\n\ncard_delay 5  # ms\nreply I a\\r\\nb\nchatter A B"), "");
    EXPECT_EQ(profile.card_delay, 5);
    EXPECT_EQ(profile.reply["I"], "a\r\nb");
    EXPECT_EQ(profile.chatter, std::vector<std::string>{"A B"});
    const modem_profile usual;
    for (const std::string name : {"ordinary", "slow-and-chatty", "long-and-split"}) {
        std::stringstream text;
        text << std::ifstream(MODEM_PROFILES "/" + name).rdbuf();
        modem_profile read;
        EXPECT_EQ(readprofile(read, text.str()), "") << name;
        EXPECT_FALSE(text.str().empty());
        EXPECT_EQ(read == usual, name == "ordinary");
    }
    for (const char *wrong : {"card_delay", "card_delay 5s", "card_delay -1", "no_such 1"})
        EXPECT_EQ(readprofile(profile, wrong), wrong);
}

}  // namespace
