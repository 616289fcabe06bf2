// SPDX-License-Identifier: ISC
// The modem that other tests rely on does as it is told, faults included, and takes the time that
// its profile gives it. That its messages are sound is shown where the daemon reads them.
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "simulator/modem/model.h"

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

struct modem : testing::Test {
    modem_model model;

    modem()
    {
        begin();
    }
    // Echo off.
    void begin()
    {
        model = {};
        (void)say("ATE0\rAT+CMEE=2\r");
    }

    // Everything that the AT port says to `input` by `now`.
    std::string say(std::string_view input, milliseconds now = 0)
    {
        feed(model, at_port, input, now);
        return take(model, at_port, now);
    }
    void play(std::initializer_list<scene_row> rows)
    {
        for (const auto &[now, command, lines, second] : rows) {
            const std::string input = command.empty() ? "" : command + "\r";
            EXPECT_EQ(joined(say(input, now)), lines) << now << " " << command;
            EXPECT_EQ(joined(take(model, second_port, now)), second) << now << " " << command;
        }
    }
};

TEST_F(modem, findsNetworkAndPlaceAsItIsToldAndInItsTime)
{
    model.technologies = "LTE,GSM";
    model.profile.reply = {{"LTE", "L"}, {"GSM", "G{rssi:-64}"}, {"fix", "F"}, {"nofix", "N"}};
    model.profile.fix_delay = 90000;
    model.signal["rssi"] = "-71";
    play({
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
        {31000, "AT+CGNSSPWR=1", ""},
        {120999, "AT+CGNSSINFO", "+CGNSSINFO: N"},
        {120999, "AT+CGNSSPWR=1", ""},
        {121000, "AT+CGNSSINFO", "+CGNSSINFO: F"},
    });
    model.slots[0].inserted = false;
    play({{121000, "AT+COPS?", "+COPS: 0"}});
}

TEST_F(modem, repliesAreFramedAndRefusedAsRealOnesAre)
{
    const std::pair<const char *, const char *> rows[] = {
        {"at+cadc=2", "\r\n+CADC: 1500\r\n\r\nOK\r\n"},
        {"AT+CGDRT=20,1;+CGDRT=12,1", "\r\nOK\r\n"},
        {"AT+CGSETV=99,1;+CADC=2", "\r\nERROR\r\n"},
        {"AT+NOSUCH", "\r\nERROR\r\n"},
        {"AT+CGMMX", "\r\nERROR\r\n"},
        {"AT+CGDCONT=1,\"IP\",\"a;b\"", "\r\nOK\r\n"},
        {"AT+CMGR=3", "\r\nOK\r\n"},
        {"AT+CMGR=11", "\r\n+CMS ERROR: Invalid memory index\r\n"},
        {"AT+CFUN=9", "\r\n+CME ERROR: Incorrect parameters\r\n"},
        {"AT+CNMP=3", "\r\nERROR\r\n"},
        {"AT+CMGS=15", "\r\n> "},
    };
    for (const auto &[command, reply] : rows) {
        begin();
        EXPECT_EQ(say(std::string(command) + "\r"), reply) << command;
    }
}

TEST_F(modem, faultsChangeTheReplyAndWearOff)
{
    const std::string usual = "\r\nLTE-MODEM-1\r\n\r\nOK\r\n";
    const struct {
        fault how;
        milliseconds now;
        std::string reply;
    } rows[] = {
        {{"AT+CG"}, 60000, ""},
        {{"AT+CGMMX"}, 0, usual},
        {{"AT+CG", true}, 0, usual},
        {{"at+cgmm", false, faultkind::reply, "x\r\n"}, 0, "x\r\n"},
        {{"", false, faultkind::error}, 0, "\r\nERROR\r\n"},
        {{"", false, faultkind::late, "", 50}, 49, ""},
        {{"", false, faultkind::late, "", 50}, 50, usual},
        {{"", false, faultkind::split, "", 10, 3}, 19, "\r\nLTE-"},
        {{"", false, faultkind::garbage, "#"}, 0, "#" + usual},
        {{"", false, faultkind::cut}, 0, "\r\nLTE-MODEM-1\r\n\r\nOK"},
        {{"", false, faultkind::flood, "", 0, 2}, 0, "\r\n##\r\n" + usual},
    };
    for (const auto &[how, now, reply] : rows) {
        begin();
        model.faults = {how};
        model.faults.back().times = 1;
        feed(model, at_port, "AT+CGMM\r", 0);
        EXPECT_EQ(take(model, at_port, now), reply);
        (void)take(model, at_port, 60000);
        EXPECT_EQ(say("AT\r", 60000), "\r\nOK\r\n") << "once only";
    }
}

TEST_F(modem, givesTheRouterAnAddressWithADataConnectionOnly)
{
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
        (void)say(std::string(command) + "\r", 5000);
        EXPECT_EQ(hostaddress(model), address) << command;
    }
}

TEST_F(modem, codesUnlockTheCardWhileTriesAreLeft)
{
    model.slots[0].lock = "SIM PIN";
    const std::string wrong = "+CME ERROR: incorrect password";
    const std::string needspuk = "+CME ERROR: SIM PUK required";
    play({
        {0, "AT+CPIN=1", wrong},
        {0, "AT+CIMI", "+CME ERROR: SIM PIN required"},
        {0, "AT+CPIN=\"1234\"", ""},
        {0, "AT+CPIN?", "+CPIN: READY"},
        {0, "AT+CIMI", "250990000000001"},
        {0, "AT+CPIN=1234", "+CME ERROR: operation not allowed"},
        {0, "AT+CLCK=\"SC\",2", "+CLCK: 1"},
    });
    (void)say("AT+CATR=2;+CFUN=0;+CFUN=4\r");
    (void)take(model, second_port, 0);
    play({
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
    });
    model.slots[0].lock = "SIM PUK";
    model.slots[0].unlocked = false;
    for (int tries = 0; tries < 10; tries++)
        (void)say("AT+CPIN=1,4321\r");
    play({{0, "AT+CPIN=12345678,4321", "+CME ERROR: SIM failure"}});
}

TEST_F(modem, saysUnaskedWhatItWasToldToSayWhereItWasToldTo)
{
    model = {};
    model.profile.boot = "AT+CREG=1";
    model.profile.card_delay = 3000;
    model.profile.sms_delay = 2000;
    model.profile.phonebook_delay = 8000;
    model.profile.chatter_interval = 50000;
    model.profile.chatter = {"RING", "^DSCI: 1"};
    model.ussd[""] = {"+CUSD: 2", 100};
    powercycle(model, 0);
    play({
        {0, "ATE0;+CMEE=2", "RDY|ATE0;+CMEE=2", "RDY"},
        {2999, "AT+CIMI", "+CME ERROR: SIM busy"},
        {3000, "AT+CIMI", "+CPIN: READY|250990000000001", "+CPIN: READY"},
        {3000, "AT+CMGR=1", "+CMS ERROR: SIM busy"},
        {4500, "AT+CATR=2", "+CREG: 1", "+CREG: 1"},
        {5000, "AT+CMGR=1", "", "SMS DONE"},
        {11000, "", "", "PB DONE"},
    });
    EXPECT_EQ(nextdue(model), 50000);
    storemessage(model, "00");
    play({
        {11000, "AT+CNMI=0", "", "+CMTI: \"SM\",1"},
        {11000, "AT+CUSD=1,\"1\",15", ""},
        {11000, "AT+CUSD=1,\"2\",15", ""},
    });
    storemessage(model, "00");
    play({
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
    });
    model.profile.stubborn = 1;
    play({{150000, "", "RING", "RING"}});
    // The second port has kept its echo, and what is said comes before a reply or after it.
    model.profile.reply_delay = 10;
    model.profile.piece_size = 5;
    model.profile.piece_delay = 1;
    feed(model, second_port, "AT+CGMM\r", 200000);
    announce(model, "X");
    EXPECT_EQ(take(model, second_port, 200010), "\r\n^DSCI: 1\r\nAT+CGMM\r\r\nX\r\n\r\nLTE");
    announce(model, "Y");
    EXPECT_EQ(take(model, second_port, 200099), "-MODEM-1\r\n\r\nOK\r\n\r\nY\r\n");
}

TEST_F(modem, profilesAreReadToTheirFirstWrongLine)
{
    modem_profile profile;
    EXPECT_EQ(readprofile(profile, "# x\n\ncard_delay 5  # ms\nreply I a\\r\\nb\nchatter A B"), "");
    EXPECT_EQ(profile.card_delay, 5);
    EXPECT_EQ(profile.reply["I"], "a\r\nb");
    EXPECT_EQ(profile.chatter, std::vector<std::string>{"A B"});
    std::stringstream text;
    text << std::ifstream(MODEM_PROFILES "/ordinary").rdbuf();
    profile = {};
    EXPECT_EQ(readprofile(profile, text.str()), "");
    EXPECT_TRUE(!text.str().empty() && profile == modem_profile());
    for (const char *wrong : {"card_delay", "card_delay 5s", "card_delay -1", "no_such 1"})
        EXPECT_EQ(readprofile(profile, wrong), wrong);
}

}  // namespace
