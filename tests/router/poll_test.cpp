// SPDX-License-Identifier: ISC
// The poll of the running modem: what each pass sends, and what ends it.
#include <gtest/gtest.h>

#include "tests/router/running.h"

namespace
{

#define FAILS ": didn't get answer OK"

// The commands that set `lines` to the levels of a pattern such as "0110".
std::string setting(std::initializer_list<int> lines, const char *pattern)
{
    std::string command;
    for (const int line : lines)
        command += ";+CGSETV=" + std::to_string(line) + "," + *pattern++;
    return "AT" + command.substr(1);
}

std::string slots(const char *pattern)
{
    return setting({55, 56, 57, 58}, pattern);
}

const std::string dark = setting({20, 12, 59, 48}, "0000");
const std::string onebar = setting({20, 12, 59, 48}, "1000");
const std::string threebars = setting({20, 12, 59, 48}, "1110");
const std::string nofixled = "AT+CGSETV=25,0";
const std::string fixled = "AT+CGSETV=25,1";

condition reading(int value)
{
    return {"adc", {{"value", value}}};
}

const condition message = {
    "sms_pdu",
    {{"index", 2}, {"pdu", "07919761989901F0040B919761214365F70008421161710240210400480069"}}};
const condition weak = {"signal", {{"rssi", "20"}}};
const condition nofix = {"gnss", {{"fix", false}}};
const condition unregistered = fault("AT+COPS?", "reply", 0, "\r\n+COPS: 0\r\n\r\nOK\r\n");

TEST(poll, passesHoldTheQueriesAndChangedLedsOnly)
{
    const std::string radio = lostpass + " AT+CPSI? ";
    const std::string places = " AT+CPMS? AT+CMGR=1 AT+CMGR=2";
    const std::string afterslots = fullpass.substr(9);
    const std::string aftergnss = fullpass.substr(watchpass.size());
    const std::string darkened = watchpass + " " + nofixled + aftergnss;
    const struct {
        const char *name;
        std::vector<condition> conditions;
        std::vector<std::string> passes;  // after full ones
        const char *path, *value;         // in the status then
    } reactions[] = {
        // clang-format off
        {"nothing changes", {}, {fullpass}, "info.network.level", "good"},
        {"weaker signal", {weak}, {radio + onebar + places, fullpass}, "info.network.level", "weak"},
        {"fix lost", {nofix}, {darkened, fullpass}, "info.gnss.datetime", "01-01-2000 00:00:00"},
        {"gnss refused", {fault("AT+CGNSSINFO", "error")}, {darkened, fullpass}, "info.gnss.state",
         "unavailable"},
        {"other card removed", {reading(800)}, {"AT+CADC=2 " + slots("0110") + afterslots, fullpass},
         "info.modem.slot2_state", "empty"},
        {"reading missing", {fault("AT+CADC", "reply", 0, "\r\nOK\r\n")}, {fullpass},
         "info.modem.slot2_state", "inserted"},
        {"message", {message}, {fullpass + " AT+CMGD=2", fullpass}, "info.sms.recv_counter", "1"},
        {"deletion refused", {fault("AT+CMGD=2", "error"), message}, {fullpass + " AT+CMGD=2"},
         statepath, "op"},
        {"place refused", {fault("AT+CMGR=1", "error", 0, "+CMS ERROR: 321")}, {fullpass},
         statepath, "op"},
        {"no places", {{"storage", {{"capacity", 0}}}}, {radio + "AT+CPMS?"},
         statepath, "op"},
        {"capacity missing", {fault("AT+CPMS?", "reply", 0, "\r\nOK\r\n")}, {radio + "AT+CPMS?"},
         statepath, "op"},
        {"capacity refused", {fault("AT+CPMS?", "reply", 0,
          "\r\n+CPMS: \"SM\",0,2,\"SM\",0,2\r\n\r\nERROR\r\n")}, {radio + "AT+CPMS?"}, statepath, "op"},
        {"cards removed", {reading(0)}, {"AT+CADC=2 " + slots("1110") + " " + dark, watchpass},
         errorpath, "sim_removed"},
        {"operator refused", {fault("AT+COPS?", "error")}, {lostpass + " " + dark, lostpass},
         "info.network.provider", "none"},
        {"not registered", {unregistered}, {lostpass + " AT+COPS=0,0 " + dark, lostpass + " AT+COPS=0,0"},
         "info.network.level", "no signal"},
        // clang-format on
    };
    running_router router;
    for (const auto &row : reactions) {
        SCOPED_TRACE(row.name);
        const router_mark renewal = router.mark();
        router.renew();
        for (const std::string &lit : {slots("0100"), fixled, threebars})
            EXPECT_TRUE(router.receives(lit, renewal)) << "whatever was shown before";
        const router_mark since = router.passmark();
        arrange(router, row.conditions);
        std::vector<std::string> passes = router.distinctpasses(since);
        if (row.passes.front() != fullpass && passes.front() == fullpass)
            passes.erase(passes.begin());
        EXPECT_EQ(passes, row.passes);
        EXPECT_EQ(router.status(row.path), row.value);
        if (HasFailure()) return;  // every wait would be in vain, here and below
    }
    arrange(router, {{"clear_faults"}});
    EXPECT_EQ(ask(router, "set", {{"modem_gnss_power", "off"}}), "ok");
    EXPECT_TRUE(router.becomes("info.network.state", "connected"));
    EXPECT_EQ(router.steadypass(), "AT+CADC=2" + aftergnss);
    arrange(router, {reading(0)});
    EXPECT_TRUE(router.becomes(errorpath, "sim_removed"));
    EXPECT_EQ(router.steadypass(), "AT+CADC=2");
}

TEST(poll, failuresAreRecordedWithTheFormerStateAndIdle)
{
    const std::string slotled = "set led green red slot1 and slot2: " + slots("0110") + FAILS;
    const std::string adc = "get info.modem.slot[1..2]_state: AT+CADC=2" FAILS;
    const std::string unfixed = "set led [unavailable] info.modem.gnns.state: AT+CGSETV=25,0" FAILS;
    const std::string darkbar = "set led [no signal] info.modem.network.level: " + dark + FAILS;
    const std::string weakbar = "set led [weak] info.modem.network.level: " + onebar + FAILS;
    const struct {
        std::string former;
        const char *kind, *command;
        std::vector<condition> conditions;
        std::string reason;
        std::string rest = {};  // of the pass
    } failures[] = {
        // clang-format off
        {"op", "silence", "AT+CADC", {}, adc},
        {"op", "error", "AT+CADC", {}, adc},
        {"op", "silence", "AT+CGSETV=55", {reading(800)}, slotled},
        {"op", "error", "AT+CGSETV=55", {reading(800)}, slotled, fullpass.substr(9)},
        {"op", "silence", "AT+CGSETV=20", {reading(0)}, darkbar},  // instead of "sim_removed"
        {"op", "silence", "AT+CGNSSINFO", {}, "get info.gnss: AT+CGNSSINFO" FAILS},
        {"op", "silence", "AT+CGSETV=25", {nofix}, unfixed},
        {"op", "error", "AT+CGSETV=25", {nofix}, unfixed, fullpass.substr(watchpass.size())},
        {"op", "silence", "AT+COPS?", {}, "get info.gnss: AT+COPS?" FAILS},
        {"op", "silence", "AT+COPS=0", {unregistered},
         "set auto network registration and long provider name format: AT+COPS=0,0" FAILS},
        {"op", "silence", "AT+CPSI", {}, "get info.network.state: AT+CPSI?" FAILS},
        {"op", "silence", "AT+CGSETV=20", {weak}, weakbar},
        {"op", "error", "AT+CGSETV=20", {weak}, weakbar, " AT+CPMS? AT+CMGR=1 AT+CMGR=2"},
        {"op", "error", "AT+CGSETV=20", {unregistered}, darkbar},
        {"op", "silence", "AT+CPMS?", {}, "get maxcntrecvsms: AT+CPMS?" FAILS},
        {"op", "silence", "AT+CMGR=2", {}, "modem_readsms() done error"},
        {"op", "silence", "AT+CMGD=2", {message}, "modem_delsms() done error"},
        {"nosim", "error", "AT+CADC", {}, adc},
        {"nosim", "error", "AT+CGSETV=55", {reading(1200)},
         "set led yellow off slot1 and slot2: " + slots("1100") + FAILS, " AT+CGNSSINFO"},
        {"nosim", "silence", "AT+CGSETV=25", {nofix}, unfixed},
        // clang-format on
    };
    running_router router;
    for (const auto &row : failures) {
        SCOPED_TRACE(row.former + " " + row.command + " " + row.kind);
        router.renew();
        if (row.former == "nosim") {
            arrange(router, {reading(0)});
            EXPECT_TRUE(router.becomes(errorpath, "sim_removed"));
            (void)ask(router, "reinit");
            EXPECT_TRUE(router.becomes(statepath, "nosim"));
        }
        const router_mark since = router.mark();
        arrange(router, {fault(row.command, row.kind)});
        arrange(router, row.conditions);
        expect_transition(router, since, row.former + "->error", "no_answer", row.reason);
        std::string rest;
        for (const std::string &command : router.commands(since))
            rest = command.starts_with(row.command) ? "" : rest + " " + command;
        EXPECT_EQ(rest, row.rest);
        EXPECT_TRUE(router.isidle());
        if (HasFailure()) return;
    }
}

TEST(poll, withoutAUsableCardSlotsAndGnssStayWatched)
{
    const std::string lock = "get lock status sim: AT+CPIN?: ";
    const std::string crash = "SIM initialization failed or SIM access encountered a serious error";
    const condition locked = {"sim", {{"slot", 1}, {"lock", "SIM PIN"}}};
    const condition busy = {"sim", {{"slot", 1}, {"lock", "BUSY"}}};
    const struct {
        const char *slot;
        condition cause;
        std::string states, error, reason;
        const char *pattern;  // with a card in slot 2 alone
    } rows[] = {
        // clang-format off
        {"1", reading(0), "init->nosim", "none", "get info.modem.slot1_state: empty", "1100"},
        {"1", locked, "init->error", "sim_locked", lock + "modem is waiting SIM PIN to be given",
         "1100"},
        {"1", busy, "init->error", "sim_crash", lock + crash, "1100"},
        {"1", reading(0), "op->error", "sim_removed", "get info.modem.slot1_state: empty", "1100"},
        {"2", reading(900), "op->error", "sim_removed", "get info.modem.slot2_state: empty",
         "1001"},
        // clang-format on
    };
    running_router router;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.error + " " + row.slot);
        router.renew(row.slot);
        router_mark since = router.mark();
        arrange(router, {row.cause});
        if (row.states.starts_with("init")) (void)ask(router, "reinit");
        expect_transition(router, since, row.states, row.error, row.reason);
        EXPECT_EQ(router.steadypass(), watchpass);

        since = router.passmark();
        arrange(router, {reading(1200)});
        const std::vector<std::string> passes = router.distinctpasses(since);
        EXPECT_EQ(passes.back(), watchpass);
        EXPECT_EQ(passes.rbegin()[1], "AT+CADC=2 " + slots(row.pattern) + " AT+CGNSSINFO");
        const std::string state = router.status(statepath);
        EXPECT_TRUE(row.states.ends_with(state));

        arrange(router, {fault("AT+CGNSSINFO", "silence")});
        expect_transition(router, since, state + "->error", "no_answer",
                          "get info.gnss: AT+CGNSSINFO" FAILS);
        EXPECT_TRUE(router.isidle());
        if (HasFailure()) return;
    }
}

}  // namespace
