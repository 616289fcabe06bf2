// The initialisation script: every command in order, every row failing, every lock code.
#include "config/init.h"

#include <gtest/gtest.h>

#include "at/sendat.h"
#include "tests/daemon/bench.h"

namespace
{

constexpr char everything[] =
    "config modem 'modem'\n\toption slot '1'\n"
    "config rs485 'rs485'\n\toption pull 'down'\n"
    "config gnss 'gnss'\n\toption power 'on'\n\toption mode '3'\n"
    "config network 'network'\n\toption type 'auto'\n\toption iptype 'ipv4'\n"
    "\toption iparea 'public'\n\toption apn 'dynamic'\n";

struct script_row {
    const char *command;
    const char *reason;        // when it is not answered with OK
    bool passeserror = false;  // an error reply does not end the run
    unsigned errortries = 1;   // how often an error reply is met
};

#define FAILS ": didn't get answer OK"

// With everything configured; PDP contexts are told apart by the test.
const script_row script[] = {
    {"ATV1", "set answer OK: ATV1" FAILS},
    {"ATE0", "set disable echo: ATE0" FAILS},
    {"AT+CATR=2", "set sending URC-event: AT+CATR=2" FAILS},
    {"AT+CMEE=2", "set answer +CME ERROR: AT+CMEE=2" FAILS},
    {"at*imscfg=\"switch\",off", "set disabled dualsim: at*imscfg=\"switch\",off" FAILS},
    {"AT+CFUN=0", "set low power mode: AT+CFUN=0" FAILS},
    {"AT+CGMM", "get info.modem.model: AT+CGMM" FAILS},
    {"AT+CGMR", "get info.modem.firmware: AT+CGMR" FAILS},
    {"AT+CGSN", "get info.modem.imei: AT+CGSN" FAILS},
    {"AT+CGDRT=27,1", "set out settings.modem.rs485.pull: AT+CGDRT=27,1" FAILS},
    {"AT+CGSETV=27,1", "set out settings.modem.rs485.pull: AT+CGSETV=27,1" FAILS},
    {"AT+CGDRT=25,1", "set out gpio-led info.modem.gnss.state: AT+CGDRT=25,1" FAILS},
    {"AT+CGSETV=25,0", "set led [unavailable] info.modem.gnns.state: AT+CGSETV=25,0" FAILS, true},
    {"AT+CGNSSPWR=1", "set on settings.modem.gnss.power: AT+CGNSSPWR=1" FAILS},
    {"AT+CGNSSMODE=3", "set 3 settings.modem.gnss.mode: AT+CGNSSMODE=3" FAILS, false, 60},
    {"AT+CVAUXS=1", "set enbaled out pin VDD_AUX: AT+CVAUXS=1" FAILS},
    {"AT+CGDRT=28,1", "set out gpio-slot settings.modem.slot: AT+CGDRT=28,1" FAILS},
    {"AT+CGSETV=28,0", "set low gpio-switch settings.modem.slot(1): AT+CGSETV=28,0" FAILS},
    {"AT+CGDRT=55,1;+CGDRT=56,1;+CGDRT=57,1;+CGDRT=58,1",
     "set out gpios-led slot1 and slot2: AT+CGDRT=55,1;+CGDRT=56,1;+CGDRT=57,1;+CGDRT=58,1" FAILS},
    {"AT+CGSETV=55,0;+CGSETV=56,0;+CGSETV=57,0;+CGSETV=58,0",
     "set led off off slot1 and slot2: "
     "AT+CGSETV=55,0;+CGSETV=56,0;+CGSETV=57,0;+CGSETV=58,0" FAILS},
    {"AT+CGDRT=20,1;+CGDRT=12,1;+CGDRT=59,1;+CGDRT=48,1",
     "set out gpios-led info.modem.network.level: "
     "AT+CGDRT=20,1;+CGDRT=12,1;+CGDRT=59,1;+CGDRT=48,1" FAILS},
    {"AT+CGSETV=20,0;+CGSETV=12,0;+CGSETV=59,0;+CGSETV=48,0",
     "set led [no signal] info.modem.network.level: "
     "AT+CGSETV=20,0;+CGSETV=12,0;+CGSETV=59,0;+CGSETV=48,0" FAILS},
    {"AT+CADC=2", "get info.modem.slot[1..2]_state: AT+CADC=2" FAILS},
    {"AT+CGSETV=55,0;+CGSETV=56,1;+CGSETV=57,0;+CGSETV=58,0",
     "set led green off slot1 and slot2: "
     "AT+CGSETV=55,0;+CGSETV=56,1;+CGSETV=57,0;+CGSETV=58,0" FAILS,
     true},
    {"AT+CSCS=\"UCS2\"", "set UCS2 data coding scheme: AT+CSCS=UCS2" FAILS},
    {"AT+CMGF=0", "set PDU mode: AT+CMGF=0" FAILS},
    {"AT+CLIP=0", "set disabled phone number autodetector: AT+CLIP=0" FAILS},
    {"AT+CNMI=0", "set disabled sending URC-event +CMTI: AT+CNMI=0" FAILS},
    {"AT+CFUN=4", "set disable phone transmit and receive RF circuits: AT+CFUN=4" FAILS},
    {"AT+CPIN?", "get lock status sim: AT+CPIN?" FAILS},
    {"AT+CIMI", "get info.sim.imsi: AT+CIMI" FAILS},
    {"AT+CICCID", "get info.sim.iccid: AT+CICCID" FAILS},
    {"AT+CPMS=\"SM\",\"SM\",\"SM\"", "set SIM sms-storage: AT+CPMS=SM,SM,SM" FAILS},
    {"AT+CMGD=1,4", "delete all sms from sim-storage: AT+CMGD=1,4" FAILS},
    {"AT+CGDCONT=1", "delete PDP context: AT+CGDCONT=1" FAILS},
    {"AT+CGDCONT=2", "delete PDP context: AT+CGDCONT=2" FAILS},
    {"AT+CGDCONT=3", "delete PDP context: AT+CGDCONT=3" FAILS},
    {"AT+CGDCONT=4", "delete PDP context: AT+CGDCONT=4" FAILS},
    {"AT+CGDCONT=5", "delete PDP context: AT+CGDCONT=5" FAILS},
    {"AT+CGDCONT=6", "delete PDP context: AT+CGDCONT=6" FAILS},
    {"AT+CGDCONT=7", "delete PDP context: AT+CGDCONT=7" FAILS},
    {"AT+CGDCONT=8", "delete PDP context: AT+CGDCONT=8" FAILS},
    {"AT+CGDCONT=9", "delete PDP context: AT+CGDCONT=9" FAILS},
    {"AT+CGDCONT=10", "delete PDP context: AT+CGDCONT=10" FAILS},
    {"AT+CGDCONT=11", "delete PDP context: AT+CGDCONT=11" FAILS},
    {"AT+CGDCONT=12", "delete PDP context: AT+CGDCONT=12" FAILS},
    {"AT+CGDCONT=13", "delete PDP context: AT+CGDCONT=13" FAILS},
    {"AT+CGDCONT=14", "delete PDP context: AT+CGDCONT=14" FAILS},
    {"AT+CGDCONT=15", "delete PDP context: AT+CGDCONT=15" FAILS},
    {"AT+CGDCONT=1,\"IP\"", "set ipv4 settings.modem.network.iptype: AT+CGDCONT=1,\"IP\"" FAILS},
    {"AT+CGAUTH=1,0", "set type auth for PDP-IP connection of GPRS : AT+CGAUTH=1,0" FAILS},
    {"AT+CNMP=2", "set auto (GSM or WCDMA or LTE) settings.modem.network.type: AT+CNMP=2" FAILS},
    {"AT+COPS=0,0",
     "set auto network registration and long provider name format: AT+COPS=0,0" FAILS},
    {"AT+USBNETIP=1", "set usb public ip: AT+USBNETIP=1" FAILS},
    {"AT+DIALMODE=0", "set enabled USBNET network: AT+DIALMODE=0" FAILS},
    {"AT+CFUN=1", "set high power mode: AT+CFUN=1" FAILS},
};

std::vector<std::string> script_commands()
{
    std::vector<std::string> commands;
    for (const script_row &row : script)
        commands.emplace_back(row.command);
    return commands;
}

void expect_words(const modem_info &info,
                  const char *state,
                  const char *error,
                  const std::string &reason)
{
    EXPECT_STREQ(info.kelvantorium.prevstate, "init");
    EXPECT_STREQ(info.kelvantorium.state, state);
    EXPECT_STREQ(info.kelvantorium.error, error);
    EXPECT_EQ(info.kelvantorium.reason, reason);
}

TEST(init, sendsTheWholeScriptInOrder)
{
    modem_bench bench;
    modem_bench::configure(everything);
    EXPECT_EQ(modem_init(bench.record()), 0);
    EXPECT_EQ(bench.commands(), script_commands());
    const modem_info &info = bench.record()->working.info;
    expect_words(info, "op", "none", "init done ok");
    EXPECT_STREQ(info.modem.model, "LTE-MODEM-1");
    EXPECT_STREQ(info.modem.firmware, "LM1.04.02B01");
    EXPECT_STREQ(info.modem.imei, "861000000000013");
    EXPECT_STREQ(info.sim.imsi, "250990000000001");
    EXPECT_STREQ(info.sim.iccid, "8970199000000000017");
    EXPECT_EQ(modem_bench::pauses(), (std::vector<unsigned>{1000, 5000, 5000}));
    const std::vector<std::string> log = modem_bench::log();
    ASSERT_EQ(log.size(), 11U);
    EXPECT_EQ(log.front(), "6 init: settings.modem.slot: 1");
    EXPECT_EQ(log[9], "6 init: settings.modem.network.apn: dynamic");
    EXPECT_EQ(log.back(), "6 init->op: init done ok");
}

// Runs with row `at` failing and checks the outcome, and that nothing follows it on the wire.
void expect_failure(std::size_t at, bool silently)
{
    const script_row &row = script[at];
    SCOPED_TRACE(std::string(row.command) + (silently ? " silent" : " refused"));
    modem_bench bench;
    modem_bench::configure(everything);
    bench.change([&](simulator::modem_model &modem) {
        const auto kind = silently ? simulator::faultkind::silence : simulator::faultkind::error;
        modem.faults.push_back({.command = row.command, .exact = true, .kind = kind});
    });
    if (silently) modem_bench::silence(std::string(row.command) + "\r");
    const int result = modem_init(bench.record());
    if (!silently && row.passeserror) {
        EXPECT_EQ(result, 0);
        EXPECT_EQ(bench.commands(), script_commands());
        return;
    }
    EXPECT_EQ(result, -1);
    expect_words(bench.record()->working.info, "error", "no_answer", row.reason);
    EXPECT_EQ(modem_bench::log().back(), std::string("3 init->error: ") + row.reason);
    std::vector<std::string> sent = script_commands();
    sent.resize(at + 1);
    if (!silently) sent.insert(sent.end(), row.errortries - 1, row.command);
    EXPECT_EQ(bench.commands(sent.size()), sent);  // the last one may still be on its way
}

TEST(init, everyRowEndsTheRunWithItsReason)
{
    for (std::size_t at = 0; at < std::size(script); at++) {
        expect_failure(at, true);
        expect_failure(at, false);
    }
}

TEST(init, triesTheGnssModeAgainOncePerSecond)
{
    modem_bench bench;
    modem_bench::configure(everything);
    bench.change([](simulator::modem_model &modem) { modem.gnss_mode_refusals = 2; });
    EXPECT_EQ(modem_init(bench.record()), 0);
    EXPECT_EQ(modem_bench::pauses(), (std::vector<unsigned>{1000, 1000, 1000, 5000, 5000}));
}

TEST(init, settingsChooseTheCommands)
{
    struct variant {
        const char *name;
        std::string config;
        std::vector<std::string> present;
        std::vector<std::string> absent;
    };
    const auto network = [](const std::string &options) {
        return "config network 'network'\n" + options;
    };
    const variant variants[] = {
        {"no package",
         "",
         {"AT+CGNSSPWR=0", "AT+CNMP=2", "AT+USBNETIP=1", "AT+CGSETV=28,0"},
         {"AT+CGDRT=27,1", "AT+CGDRT=25,1", "AT+CGNSSPWR=1", "AT+CGNSSMODE=3"}},
        {"slot 2",
         "config modem modem\n option slot 2\n",
         {"AT+CGSETV=28,1", "AT+CGSETV=55,0;+CGSETV=56,0;+CGSETV=57,0;+CGSETV=58,1"},
         {}},
        {"pull up",
         "config rs485 rs485\n option pull up\n",
         {"AT+CGDRT=27,1", "AT+CGSETV=27,0"},
         {"AT+CGDRT=25,1"}},
        {"gnss off",
         "config gnss gnss\n option power off\n",
         {"AT+CGDRT=25,1", "AT+CGNSSPWR=0"},
         {"AT+CGNSSPWR=1"}},
        {"gnss mode alone",
         "config gnss gnss\n option mode 4\n",
         {"AT+CGDRT=25,1", "AT+CGNSSPWR=0"},
         {"AT+CGNSSMODE=4"}},
        {"2g", network(" option type 2g\n"), {"AT+CNMP=13"}, {"AT+CNMP=2"}},
        {"3g", network(" option type 3g\n"), {"AT+CNMP=14"}, {"AT+CNMP=2"}},
        {"4g", network(" option type 4g\n"), {"AT+CNMP=38"}, {"AT+CNMP=2"}},
        {"private",
         network(" option iparea private\n"),
         {"AT+USBNETIP=0,10,117"},
         {"AT+USBNETIP=1"}},
        {"apn",
         network(" option apn 'm2m.example'\n"),
         {"AT+CGDCONT=1,\"IP\",\"m2m.example\""},
         {"AT+CGDCONT=1,\"IP\""}},
        {"apn given empty does not exist",
         network(" option apn ''\n"),
         {"AT+CGDCONT=1,\"IP\""},
         {}},
        {"ipv6 is still type IP", network(" option iptype ipv6\n"), {"AT+CGDCONT=1,\"IP\""}, {}},
    };
    for (const variant &row : variants) {
        SCOPED_TRACE(row.name);
        modem_bench bench;
        modem_bench::configure(row.config);
        EXPECT_EQ(modem_init(bench.record()), 0);
        const std::vector<std::string> sent = bench.commands();
        for (const std::string &command : row.present)
            EXPECT_EQ(std::count(sent.begin(), sent.end(), command), 1) << command;
        for (const std::string &command : row.absent)
            EXPECT_EQ(std::count(sent.begin(), sent.end(), command), 0) << command;
    }
}

TEST(init, lockCodesAndEmptySlotsEndIt)
{
    struct outcome {
        const char *name;
        const char *slot;
        const char *lock;  // of both cards
        bool first, second;
        int result;
        const char *state;
        const char *error;
        std::string reason;
    };
    const std::string lock = "get lock status sim: AT+CPIN?: ";
    const auto waiting = [&](const char *what) {
        return lock + "modem is waiting " + what + " to be given";
    };
    const std::string crash =
        lock + "SIM initialization failed or SIM access encountered a serious error";
    const outcome outcomes[] = {
        {"pin", "1", "SIM PIN", true, true, -1, "error", "sim_locked", waiting("SIM PIN")},
        {"puk", "1", "SIM PUK", true, true, -1, "error", "sim_locked", waiting("SIM PUK")},
        {"phone", "1", "PH-SIM PIN", true, true, -1, "error", "sim_locked",
         waiting("phone-to-SIM card password")},
        {"pin2", "1", "SIM PIN2", true, true, -1, "error", "sim_locked", waiting("SIM PIN2")},
        {"puk2", "1", "SIM PUK2", true, true, -1, "error", "sim_locked", waiting("SIM PUK2")},
        {"net", "1", "PH-NET PIN", true, true, -1, "error", "sim_locked",
         waiting("network personalization password")},
        {"unknown", "1", "NOT READY", true, true, -1, "error", "sim_crash", crash},
        {"case counts", "1", "ready", true, true, -1, "error", "sim_crash", crash},
        {"long", "1", "SIM PIN and then more", true, true, -1, "error", "sim_crash", crash},
        {"slot 1 empty", "1", "READY", false, true, 1, "nosim", "none",
         "get info.modem.slot1_state: empty"},
        {"slot 2 empty", "2", "READY", true, false, 1, "nosim", "none",
         "get info.modem.slot2_state: empty"},
    };
    for (const outcome &row : outcomes) {
        SCOPED_TRACE(row.name);
        modem_bench bench;
        modem_bench::configure(std::string("config modem modem\n option slot ") + row.slot + "\n");
        bench.change([&](simulator::modem_model &modem) {
            modem.slots[0].inserted = row.first;
            modem.slots[1].inserted = row.second;
            modem.slots[0].lock = modem.slots[1].lock = row.lock;
        });
        EXPECT_EQ(modem_init(bench.record()), row.result);
        expect_words(bench.record()->working.info, row.state, row.error, row.reason);
        EXPECT_EQ(modem_bench::log().back(),
                  (row.result == 1 ? "6 init->nosim: " : "3 init->error: ") + row.reason);
        EXPECT_EQ(bench.commands().back().starts_with(row.result == 1 ? "AT+CGSETV" : "AT+CPIN?"),
                  true);
    }
}

TEST(init, repliesOfAnotherShapeKeepTheDefaults)
{
    modem_bench bench;
    modem_bench::configure("");
    bench.change([](simulator::modem_model &modem) {
        const auto reply = simulator::faultkind::reply;
        modem.faults.push_back(
            {.command = "AT+CGMR", .kind = reply, .text = "\r\nREVISION 5\r\n\r\nOK\r\n"});
        modem.faults.push_back({.command = "AT+CICCID",
                                .kind = reply,
                                .text = "\r\n+ICCID: 89701990000000000171234567\r\n\r\nOK\r\n"});
        modem.faults.push_back(
            {.command = "AT+CADC", .kind = reply, .text = "\r\n+CADC:\r\nOK\r\n"});
    });
    EXPECT_EQ(modem_init(bench.record()), 1);  // no reading: the slots stay "empty"
    EXPECT_STREQ(bench.record()->working.info.modem.firmware, "none");
    bench.change([](simulator::modem_model &modem) { modem.faults.pop_back(); });
    EXPECT_EQ(modem_init(bench.record()), 0);
    EXPECT_STREQ(bench.record()->working.info.sim.iccid, "8970199000000000017123");
}

TEST(init, portsThatCannotBeOpenedSendNothing)
{
    modem_bench bench;
    modem_bench::configure("");
    ASSERT_EQ(unlink("/dev/serial/by-id/"
                     "usb-Marvell_Mobile_Composite_Device_Bus_200806006809080000-if05-port0"),
              0);
    EXPECT_EQ(modem_init(bench.record()), -1);
    expect_words(bench.record()->working.info, "error", "no_answer",
                 "modem_comport_connect() done error");
    const std::vector<std::string> log = modem_bench::log();
    EXPECT_EQ(log[log.size() - 2],
              "3 modem_comport_connect: open() done error: No such file or directory");
    EXPECT_EQ(log.back(), "3 init->error: modem_comport_connect() done error");
    EXPECT_TRUE(bench.commands().empty());
    EXPECT_EQ(modem_sendat(bench.record(), "AT", modem_atok, modem_attimeout, 1), -1);
    EXPECT_EQ(modem_bench::log().back(), "3 modem_sendat: pmod->ismodemconnect=0");
}

}  // namespace
