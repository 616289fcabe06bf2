// SPDX-License-Identifier: ISC
// The initialisation script: every command in order, every row failing, every lock code.
#include <algorithm>
#include <cstdlib>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/router.h"

namespace
{

constexpr char statepath[] = "info.kelvantorium.state";
const router_setup fast = {.daemon = "kelvantorium-fast"};
constexpr char lastcommand[] = "AT+CFUN=1";

struct script_row {
    std::string command;       // or a wait
    std::string purpose = {};  // first half of the reason when it is not answered with OK
    std::string shown = {};    // the command as the reason spells it, where it differs
    bool passeserror = false;  // an error reply does not end the run
    unsigned errortries = 1;   // how often an error reply is met
};

// With everything configured. The row of a PDP context stands for all fifteen.
const script_row script[] = {
    {"ATV1", "set answer OK"},
    {"ATE0", "set disable echo"},
    {"AT+CATR=2", "set sending URC-event"},
    {"AT+CMEE=2", "set answer +CME ERROR"},
    {"at*imscfg=\"switch\",off", "set disabled dualsim"},
    {"AT+CFUN=0", "set low power mode"},
    {"AT+CGMM", "get info.modem.model"},
    {"AT+CGMR", "get info.modem.firmware"},
    {"AT+CGSN", "get info.modem.imei"},
    {"AT+CGDRT=27,1", "set out settings.modem.rs485.pull"},
    {"AT+CGSETV=27,1", "set out settings.modem.rs485.pull"},
    {"AT+CGDRT=25,1", "set out gpio-led info.modem.gnss.state"},
    {"AT+CGSETV=25,0", "set led [unavailable] info.modem.gnns.state", "", true},
    {"AT+CGNSSPWR=1", "set on settings.modem.gnss.power"},
    {"1000 ms"},
    {"AT+CGNSSMODE=3", "set 3 settings.modem.gnss.mode", "", false, 60},
    {"AT+CVAUXS=1", "set enbaled out pin VDD_AUX"},
    {"AT+CGDRT=28,1", "set out gpio-slot settings.modem.slot"},
    {"AT+CGSETV=28,0", "set low gpio-switch settings.modem.slot(1)"},
    {"AT+CGDRT=55,1;+CGDRT=56,1;+CGDRT=57,1;+CGDRT=58,1", "set out gpios-led slot1 and slot2"},
    {"AT+CGSETV=55,0;+CGSETV=56,0;+CGSETV=57,0;+CGSETV=58,0", "set led off off slot1 and slot2"},
    {"AT+CGDRT=20,1;+CGDRT=12,1;+CGDRT=59,1;+CGDRT=48,1",
     "set out gpios-led info.modem.network.level"},
    {"AT+CGSETV=20,0;+CGSETV=12,0;+CGSETV=59,0;+CGSETV=48,0",
     "set led [no signal] info.modem.network.level"},
    {"AT+CADC=2", "get info.modem.slot[1..2]_state"},
    {"AT+CGSETV=55,0;+CGSETV=56,1;+CGSETV=57,0;+CGSETV=58,0", "set led green off slot1 and slot2",
     "", true},
    {"AT+CSCS=\"UCS2\"", "set UCS2 data coding scheme", "AT+CSCS=UCS2"},
    {"AT+CMGF=0", "set PDU mode"},
    {"AT+CLIP=0", "set disabled phone number autodetector"},
    {"AT+CNMI=0", "set disabled sending URC-event +CMTI"},
    {"AT+CFUN=4", "set disable phone transmit and receive RF circuits"},
    {"5000 ms"},
    {"AT+CPIN?", "get lock status sim"},
    {"AT+CIMI", "get info.sim.imsi"},
    {"AT+CICCID", "get info.sim.iccid"},
    {"AT+CPMS=\"SM\",\"SM\",\"SM\"", "set SIM sms-storage", "AT+CPMS=SM,SM,SM"},
    {"AT+CMGD=1,4", "delete all sms from sim-storage"},
    {"AT+CGDCONT=", "delete PDP context"},
    {"AT+CGDCONT=1,\"IP\"", "set ipv4 settings.modem.network.iptype"},
    {"AT+CGAUTH=1,0", "set type auth for PDP-IP connection of GPRS "},
    {"AT+CNMP=2", "set auto (GSM or WCDMA or LTE) settings.modem.network.type"},
    {"AT+COPS=0,0", "set auto network registration and long provider name format"},
    {"AT+USBNETIP=1", "set usb public ip"},
    {"AT+DIALMODE=0", "set enabled USBNET network"},
    {lastcommand, "set high power mode"},
    {"5000 ms"},
};

std::vector<script_row> steps()
{
    std::vector<script_row> rows;
    for (const script_row &row : script) {
        if (!row.command.ends_with('=')) {
            rows.push_back(row);
            continue;
        }
        for (int context = 1; context <= 15; context++)
            rows.push_back({row.command + std::to_string(context), row.purpose});
    }
    return rows;
}

void await_end(virtual_router &router)
{
    EXPECT_TRUE(wait_until([&] { return router.status(statepath) != "init"; }));
}

// The commands of one more initialisation.
std::vector<std::string> initialise(virtual_router &router)
{
    await_end(router);
    const router_mark since = router.mark();
    EXPECT_EQ(router.call("reinit", {{"client", "test"}})["result"], "ok");
    await_end(router);
    std::vector<std::string> sent = router.commands(since);
    sent.erase(sent.begin(), std::find(sent.begin(), sent.end(), "ATV1"));  // of the poll
    const auto last = std::find(sent.begin(), sent.end(), lastcommand);
    if (last != sent.end()) sent.erase(last + 1, sent.end());  // likewise
    return sent;
}

void expect_words(virtual_router &router,
                  const std::string &state,
                  const std::string &error,
                  const std::string &reason)
{
    const bus_reply now = router.call("get");
    EXPECT_EQ(now["info.kelvantorium.prevstate"], "init");
    EXPECT_EQ(now[statepath], state);
    EXPECT_EQ(now["info.kelvantorium.error"], error);
    EXPECT_EQ(now["info.kelvantorium.reason"], reason);
    EXPECT_TRUE(
        router.logs((state == "error" ? "err init->" : "info init->") + state + ": " + reason));
}

TEST(init, sendsTheWholeScriptInOrder)
{
    virtual_router router(fast);
    await_end(router);
    expect_words(router, "op", "none", "init done ok");
    std::vector<std::string> expected, seen;
    for (const script_row &row : steps())
        expected.push_back(row.command);
    const std::string marks[] = {"modem_sendat: send: ", "modem_pause: "};
    for (const std::string &line : router.out()) {
        if (line.starts_with(marks[0])) seen.push_back(line.substr(marks[0].size()));
        if (line.starts_with(marks[1])) seen.push_back(line.substr(marks[1].size()) + " ms");
    }
    ASSERT_GE(seen.size(), expected.size());
    seen.resize(expected.size());  // the poll follows
    EXPECT_EQ(seen, expected);

    const std::pair<const char *, const char *> words[] = {
        {"modem.model", "LTE-MODEM-1"},       {"modem.firmware", "LM1.04.02B01"},
        {"modem.imei", "861000000000013"},    {"sim.imsi", "250990000000001"},
        {"sim.iccid", "8970199000000000017"},
    };
    const bus_reply report = router.call("get");
    for (const auto &[path, value] : words)
        EXPECT_EQ(report[std::string("info.") + path], value);
    std::vector<std::string> log = router.log();
    std::erase_if(log, [](const auto &line) { return !line.starts_with("info init"); });
    ASSERT_EQ(log.size(), 11U);
    EXPECT_EQ(log[0], "info init: settings.modem.slot: 1");
    EXPECT_EQ(log[9], "info init: settings.modem.network.apn: dynamic");
}

// Runs with a row failing and checks the outcome, and that nothing follows it on the wire.
void expect_failure(virtual_router &router, const script_row &row, const char *kind)
{
    SCOPED_TRACE(row.command + " " + kind);
    const bool refused = kind == std::string("error");
    if (!refused) write_file("/run/silent", row.command + "\r");
    router.modem("clear_faults");
    router.modem("fault", {{"command", row.command}, {"exact", true}, {"kind", kind}});
    const std::vector<std::string> sent = initialise(router);
    ASSERT_FALSE(sent.empty());
    if (refused && row.passeserror) {
        EXPECT_EQ(sent.back(), lastcommand);
        return;
    }
    const std::string &shown = row.shown.empty() ? row.command : row.shown;
    expect_words(router, "error", "no_answer",
                 row.purpose + ": " + shown + ": didn't get answer OK");
    EXPECT_EQ(sent.back(), row.command);
    EXPECT_EQ(std::count(sent.begin(), sent.end(), row.command), refused ? row.errortries : 1);
}

void expect_failures(const char *kind)
{
    virtual_router router(fast);
    for (const script_row &row : steps()) {
        if (!row.purpose.empty()) expect_failure(router, row, kind);
        if (testing::Test::HasFailure()) return;  // the waits would be in vain
    }
}

TEST(init, everyRowRefusedEndsTheRunWithItsReason)
{
    expect_failures("error");
}

TEST(init, everyRowUnansweredEndsTheRunWithItsReason)
{
    expect_failures("silence");
}

TEST(init, settingsChooseTheCommands)
{
    const std::string network = "config network network\n option ";
    const struct {
        const char *name;
        std::string config;
        std::vector<std::string> present, absent;
    } variants[] = {
        // clang-format off
        {"no package", "",
         {"AT+CGNSSPWR=0", "AT+CNMP=2", "AT+USBNETIP=1", "AT+CGSETV=28,0"},
         {"AT+CGDRT=27,1", "AT+CGDRT=25,1", "AT+CGNSSPWR=1", "AT+CGNSSMODE=3"}},
        {"slot 2", "config modem modem\n option slot 2\n",
         {"AT+CGSETV=28,1", "AT+CGSETV=55,0;+CGSETV=56,0;+CGSETV=57,0;+CGSETV=58,1"}, {}},
        {"pull up", "config rs485 rs485\n option pull up\n",
         {"AT+CGDRT=27,1", "AT+CGSETV=27,0"}, {"AT+CGDRT=25,1"}},
        {"gnss off", "config gnss gnss\n option power off\n",
         {"AT+CGDRT=25,1", "AT+CGNSSPWR=0"}, {"AT+CGNSSPWR=1"}},
        {"gnss mode alone", "config gnss gnss\n option mode 4\n",
         {"AT+CGDRT=25,1", "AT+CGNSSPWR=0"}, {"AT+CGNSSMODE=4"}},
        {"2g", network + "type 2g\n", {"AT+CNMP=13"}, {"AT+CNMP=2"}},
        {"3g", network + "type 3g\n", {"AT+CNMP=14"}, {"AT+CNMP=2", "AT+CNMP=38"}},
        {"4g", network + "type 4g\n", {"AT+CNMP=38"}, {"AT+CNMP=2"}},
        {"private", network + "iparea private\n", {"AT+USBNETIP=0,10,117"}, {"AT+USBNETIP=1"}},
        {"apn", network + "apn 'm2m.example'\n",
         {"AT+CGDCONT=1,\"IP\",\"m2m.example\""}, {"AT+CGDCONT=1,\"IP\""}},
        {"apn given empty does not exist", network + "apn ''\n", {"AT+CGDCONT=1,\"IP\""}, {}},
        {"ipv6 is still type IP", network + "iptype ipv6\n", {"AT+CGDCONT=1,\"IP\""}, {}},
        // clang-format on
    };
    virtual_router router(fast);
    for (const auto &row : variants) {
        SCOPED_TRACE(row.name);
        unlink(router_configpath);
        if (!row.config.empty()) write_file(router_configpath, row.config);
        const std::vector<std::string> sent = initialise(router);
        for (const std::string &command : row.present)
            EXPECT_EQ(std::count(sent.begin(), sent.end(), command), 1) << command;
        for (const std::string &command : row.absent)
            EXPECT_EQ(std::count(sent.begin(), sent.end(), command), 0) << command;
    }
}

TEST(init, lockCodesAndEmptySlotsEndIt)
{
    const std::string crash = "SIM initialization failed or SIM access encountered a serious error";
    const auto waiting = [](const std::string &what) {
        return "modem is waiting " + what + " to be given";
    };
    const struct {
        const char *lock;
        const char *error;
        std::string cause;
    } locks[] = {
        {"SIM PIN", "sim_locked", waiting("SIM PIN")},
        {"SIM PUK", "sim_locked", waiting("SIM PUK")},
        {"PH-SIM PIN", "sim_locked", waiting("phone-to-SIM card password")},
        {"SIM PIN2", "sim_locked", waiting("SIM PIN2")},
        {"SIM PUK2", "sim_locked", waiting("SIM PUK2")},
        {"PH-NET PIN", "sim_locked", waiting("network personalization password")},
        {"NOT READY", "sim_crash", crash},
        {"ready", "sim_crash", crash},
        {"SIM PIN and then more", "sim_crash", crash},
    };
    virtual_router router(fast);
    for (const auto &row : locks) {
        SCOPED_TRACE(row.lock);
        router.modem("sim", {{"slot", 1}, {"lock", row.lock}});
        const std::vector<std::string> sent = initialise(router);
        expect_words(router, "error", row.error, "get lock status sim: AT+CPIN?: " + row.cause);
        EXPECT_EQ(std::count(sent.begin(), sent.end(), "AT+CIMI"), 0);
    }
    for (const int slot : {1, 2}) {
        const std::string number = std::to_string(slot);
        write_file(router_configpath, "config modem modem\n option slot " + number + "\n");
        for (const int other : {1, 2})
            router.modem("sim", {{"slot", other}, {"inserted", other != slot}});
        const std::vector<std::string> sent = initialise(router);
        expect_words(router, "nosim", "none", "get info.modem.slot" + number + "_state: empty");
        EXPECT_EQ(std::count(sent.begin(), sent.end(), "AT+CSCS=\"UCS2\""), 0);
    }
}

TEST(init, slotsFollowTheReading)
{
    const std::pair<int, const char *> readings[] = {
        {769, "empty empty"},     {770, "inserted empty"},  {1009, "inserted empty"},
        {1010, "empty inserted"}, {1389, "empty inserted"}, {1390, "inserted inserted"},
    };
    virtual_router router(fast);
    for (const auto &[reading, expected] : readings) {
        router.modem("adc", {{"value", reading}});
        (void)initialise(router);
        const bus_reply report = router.call("get");
        EXPECT_EQ(report["info.modem.slot1_state"] + " " + report["info.modem.slot2_state"],
                  expected)
            << reading;
    }
}

TEST(init, repliesOfAnotherShapeKeepTheDefaults)
{
    const struct {
        const char *command, *reply, *path, *value;
    } rows[] = {
        {"AT+CGMR", "REVISION 5", "info.modem.firmware", "none"},
        {"AT+CICCID", "+ICCID: 89701990000000000171234567", "info.sim.iccid",
         "8970199000000000017123"},
        {"AT+CGMR", "REVISION +CGMR: 5", "info.modem.firmware", "none"},
        {"AT+CICCID", "CARD\r\n+ICCID: 8970", "info.sim.iccid", "none"},
        {"AT+CADC", "+CADC:", "info.modem.slot1_state", "empty"},
    };
    virtual_router router(fast);
    for (const auto &row : rows) {
        const std::string text = std::string("\r\n") + row.reply + "\r\n\r\nOK\r\n";
        router.modem("clear_faults");
        router.modem("fault", {{"command", row.command}, {"kind", "reply"}, {"text", text}});
        (void)initialise(router);
        EXPECT_EQ(router.status(row.path), row.value);
    }
    expect_words(router, "nosim", "none", "get info.modem.slot1_state: empty");
}

TEST(init, portDropsWhatComesUnaskedAndMayBeMissing)
{
    virtual_router router(fast);
    router.modem("fault", {{"command", "AT+CIMI"}, {"kind", "error"}});
    (void)initialise(router);
    // Nothing polls now: what comes unasked waits for the next exchange, which drops it.
    router.modem("unsolicited", {{"text", "\r\nERROR\r\n"}});
    ASSERT_TRUE(router.modem("state").ok());
    const auto at = [&](const char *command) {
        return router.call("at_send", {{"client", "test"}, {"cmd", command}});
    };
    EXPECT_EQ(at("AT+CGMM")["answer"], "\r\nLTE-MODEM-1\r\n\r\nOK\r\n");

    router.modem("unplug");
    (void)initialise(router);
    expect_words(router, "error", "no_answer", "modem_comport_connect() done error");
    EXPECT_TRUE(
        router.logs("err modem_comport_connect: open() done error: No such file or directory"));
    EXPECT_EQ(at("AT")["result"], "error: AT: didn't get answer");
    EXPECT_TRUE(router.logs("err modem_sendat: pmod->ismodemconnect=0"));
}

}  // namespace
