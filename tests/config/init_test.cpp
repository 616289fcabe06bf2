// SPDX-License-Identifier: ISC
// The initialisation as docs/initialisation.md tells it: every command in order, every row failing,
// what the settings choose, every lock code.
#include <algorithm>
#include <regex>

#include <gtest/gtest.h>

#include "tests/support/router.h"
#include "tests/support/table.h"

namespace
{

constexpr char statepath[] = "info.kelvantorium.state";
const router_setup fast = {.daemon = "kelvantorium-fast"};
constexpr char lastcommand[] = "AT+CFUN=1";

struct script_row {
    std::string command;  // or a wait
    std::string reason;   // when it is not answered with OK; empty: it is no command
    std::string error;    // what becomes of an error reply; empty: it ends the run
};

std::vector<script_row> steps()
{
    std::vector<script_row> rows;
    const auto add = [&rows](const std::string &command, const std::vector<std::string> &cells) {
        const std::string &shown = cells[2].empty() ? command : cells[2];
        const bool iswait = command.ends_with(" ms");
        rows.push_back(
            {command, iswait ? "" : cells[1] + ": " + shown + ": didn't get answer OK", cells[3]});
    };
    for (const auto &cells : readtable("initialisation.md", "Script")) {
        if (!cells[0].ends_with("=N")) {
            add(cells[0], cells);
            continue;
        }
        for (int context = 1; context <= 15; context++)
            add(cells[0].substr(0, cells[0].size() - 1) + std::to_string(context), cells);
    }
    EXPECT_EQ(rows.size(), 59U);
    return rows;
}

void await_end(virtual_router &router)
{
    EXPECT_TRUE(wait_until([&] { return router.status(statepath) != "init"; }));
}

// The commands of one more initialisation. One that gets no answer may reach the modem afterwards.
std::vector<std::string> initialise(virtual_router &router, const std::string &awaited = "")
{
    await_end(router);
    const router_mark since = router.mark();
    EXPECT_EQ(router.call("reinit", {{"client", "test"}})["result"], "ok");
    await_end(router);
    EXPECT_TRUE(awaited.empty() || router.receives(awaited, since));
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
    EXPECT_EQ(router.status("info.modem.firmware"), "LM1.04.02B01");

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
    const std::vector<std::string> sent = initialise(router, row.command);
    ASSERT_FALSE(sent.empty());
    if (refused && row.error == "passed over") {
        EXPECT_EQ(sent.back(), lastcommand);
        return;
    }
    expect_words(router, "error", "no_answer", row.reason);
    EXPECT_EQ(sent.back(), row.command);
    EXPECT_EQ(std::count(sent.begin(), sent.end(), row.command),
              refused && row.error == "60 tries" ? 60 : 1);
}

void expect_failures(const char *kind)
{
    virtual_router router(fast);
    for (const script_row &row : steps()) {
        if (!row.reason.empty()) expect_failure(router, row, kind);
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

// A table's cell with several commands.
std::vector<std::string> commandsof(const std::string &cell)
{
    return lines_of(std::regex_replace(cell, std::regex("` `"), "\n"));
}

TEST(init, settingsChooseTheCommands)
{
    virtual_router router(fast);
    const std::regex option("(.*)\\.(.*)=(.*)");
    const auto rows = readtable("initialisation.md", "Commands that a setting chooses");
    EXPECT_EQ(rows.size(), 12U);
    for (const auto &cells : rows) {
        SCOPED_TRACE(cells[0]);
        write_file(router_configpath, std::regex_replace(cells[0] == "none" ? "" : cells[0], option,
                                                         "config $1 $1\n option $2 '$3'\n"));
        const std::vector<std::string> sent = initialise(router);
        for (const std::string &command : commandsof(cells[1]))
            EXPECT_EQ(std::count(sent.begin(), sent.end(), command), 1) << command;
        for (const std::string &command : commandsof(cells[2]))
            EXPECT_EQ(std::count(sent.begin(), sent.end(), command), 0) << command;
    }
}

TEST(init, lockCodesAndEmptySlotsEndIt)
{
    virtual_router router(fast);
    const auto rows = readtable("initialisation.md", "Card");
    EXPECT_EQ(rows.size(), 9U);
    for (const auto &cells : rows) {
        SCOPED_TRACE(cells[0]);
        router.modem("sim", {{"slot", 1}, {"lock", cells[0]}});
        const std::vector<std::string> sent = initialise(router);
        expect_words(router, "error", cells[1], "get lock status sim: AT+CPIN?: " + cells[2]);
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
    const std::string noreading = "\r\n+CADC:\r\n\r\nOK\r\n";
    router.modem("fault", {{"command", "AT+CADC"}, {"kind", "reply"}, {"text", noreading}});
    write_file(router_configpath, "");
    (void)initialise(router);
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
