// SPDX-License-Identifier: ISC
// The modem that other tests rely on does as it is told, faults included, and takes the time that
// its profile gives it. That its messages are sound is shown where the daemon reads them.
#include <fstream>
#include <regex>
#include <sstream>

#include <gtest/gtest.h>

#include "simulator/modem/model.h"
#include "tests/support/table.h"

using namespace simulator;

namespace
{

struct scene_row {
    milliseconds now;
    std::string command;
    std::string lines;        // of the AT port but empty ones and the last "OK"
    std::string second = {};  // of the other one
};

std::string joined(const std::string &text)
{
    std::string out = std::regex_replace(text, std::regex("(\r\nOK\r\n$)|\r"), "");
    out = std::regex_replace(out, std::regex("\n+"), "\n");
    return std::regex_replace(out, std::regex("^\n|\n$"), "");
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
    // A table of docs/virtual-router.md.
    void play(const char *heading)
    {
        const auto rows = readtable("virtual-router.md", heading);
        EXPECT_GT(rows.size(), 15U);
        for (const auto &cells : rows)
            play({{std::stol(cells[0]), cells[1], cells[2], cells[3]}});
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
    model.profile.fix_delay = 90000;
    play("Conversation about network and place");
    model.slots[0].inserted = false;
    play({{121000, "AT+COPS?", "+COPS: 0"}});
}

TEST_F(modem, refusesWhatItDoesNotKnow)
{
    play({
        {0, "AT+CGSETV=99,1;+CADC=2", "ERROR"},
        {0, "AT+CGMMX", "ERROR"},
        {0, "AT+CGDCONT=1,\"IP\",\"a;b\"", ""},
        {0, "AT+CMGR=11", "+CMS ERROR: Invalid memory index"},
        {0, "AT+CFUN=9", "+CME ERROR: Incorrect parameters"},
        {0, "AT+CNMP=3", "ERROR"},
    });
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

TEST_F(modem, codesUnlockTheCardWhileTriesAreLeft)
{
    model.slots[0].lock = "SIM PIN";
    play("Conversation about a locked card");
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
        {0, "ATE0;+CMEE=2", "RDY\nATE0;+CMEE=2", "RDY"},
        {2999, "AT+CIMI", "+CME ERROR: SIM busy"},
        {3000, "AT+CIMI", "+CPIN: READY\n250990000000001", "+CPIN: READY"},
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
        {11300, "AT+COPS=2", "", "+CUSD: 2\n+CREG: 0"},
        {11300, "AT+CATR=3", ""},
        {50000, "", "RING"},
        {50000, "AT+CFUN=0", ""},
        {60000, "AT+CFUN=4", ""},
        {63000, "", "+CPIN: READY"},
        {99999, "AT+CATR=1", "SMS DONE\nPB DONE"},
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
