// SPDX-License-Identifier: ISC
// The daemon's life: how it starts, how it stops, what it survives.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>

#include <gtest/gtest.h>

#include "tests/router/running.h"

using namespace std::chrono_literals;

namespace
{

constexpr char fast[] = "kelvantorium-fast";
constexpr char real[] = "kelvantorium";
constexpr std::string_view sending = "modem_sendat: send: ";

const std::vector<std::string> orderly = {
    "info modemfree start",     "info modem_task: got modemcmdStop",
    "info modem_task: done ok", "info modemfree done ok",
    "info modem done ok",       "info main: done ok"};

// A state of the daemon with a modem, and the command that it has sent by then.
struct moment {
    const char *name;
    std::vector<condition> modem;
    const char *state;
    const char *command = "ATV1";
    const char *prefix = "env FAST_TIMEOUT=5000";  // ms, of the fast daemon

    void reach(virtual_router &router) const
    {
        arrange(router, modem);
        EXPECT_TRUE(router.startdaemon());
        EXPECT_TRUE(router.becomes(statepath, state));
        EXPECT_TRUE(router.receives(command));
    }
};

const moment operational = {"op", {}, "op"};
const moment silent = {
    "modem silent", {fault("", "silence")}, "error", "ATV1", "env FAST_TIMEOUT=200"};
const moment initialising = {"initialisation under way", {held("AT+CPIN?")}, "init", "AT+CPIN?"};

TEST(life, stopSwitchesLedsAndRadioOffAndEndsInOrder)
{
    const std::string whole = router_defaultconfig;
    const struct {
        moment when;
        std::string program, config;
        condition then = {"state"};  // once the stop has begun
        std::string logged = "info main: start";
    } rows[] = {
        // clang-format off
        {operational, fast, whole},
        {operational, fast, "config modem 'modem'\n"},
        {{"error", {fault("AT+CIMI", "error")}, "error"}, fast, whole},
        {silent, fast, whole},
        {initialising, fast, whole, saying("\r\n+CPIN: READY\r\n\r\nOK\r\n"),
         "info init->op: init done ok"},
        {{"GNSS mode refused", {{"gnss", {{"refusals", 1000000}}}}, "init", "AT+CGNSSMODE=3"},
         real, whole},
        {{"USSD answer awaited", {}, "op", "AT+CPMS?"}, fast, whole,
         saying("\r\n+CUSD: 2\r\n", "second"),
         "info modem_getussdanswer: get ussd answer: +CUSD: 2"},
        // clang-format on
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.when.name);
        virtual_router router({.config = row.config,
                               .daemon = row.program,
                               .prefix = row.when.prefix,
                               .start = false});
        row.when.reach(router);
        if (row.when.command == std::string("AT+CPMS?")) {  // connected
            EXPECT_EQ(ask(router, "ussd_send", {{"cmd", "*100#"}}), "ok");
            EXPECT_TRUE(router.logs("info modem_task: got modemcmdUssdAnswer"));
        }
        const auto began = std::chrono::steady_clock::now();
        kill(router.parts.pid(router_part::daemon), SIGTERM);
        EXPECT_TRUE(wait_until([&] { return !router.bus().has("kelvantorium"); }));
        arrange(router, {row.then});
        expect_end(router, router.waitdaemon(), orderly);
        EXPECT_LT(std::chrono::steady_clock::now() - began, 25s);
        EXPECT_TRUE(router.logs(row.logged));
        std::vector<std::string> last = {"AT+CGSETV=20,0;+CGSETV=12,0;+CGSETV=59,0;+CGSETV=48,0",
                                         "AT+CGSETV=55,0;+CGSETV=56,0;+CGSETV=57,0;+CGSETV=58,0",
                                         "AT+CGSETV=25,0", "AT+CFUN=0"};
        if (row.config != whole) last.erase(last.begin() + 2);  // there is no GNSS section
        // By the traces: what a busy modem reads too late, the next exchange has flushed.
        std::vector<std::string> told;
        for (const std::string &line : router.out())
            if (line.starts_with(sending)) told.push_back(line.substr(sending.size()));
        EXPECT_LT(std::ranges::count(told, "AT+CGNSSMODE=3"), 20) << "no more tries";
        ASSERT_GE(told.size(), last.size());
        EXPECT_EQ(std::vector(told.end() - std::ssize(last), told.end()), last);
    }
}

TEST(life, signalOfTheFirstMomentsIsNeverLost)
{
    virtual_router router({.daemon = fast, .start = false});
    const auto stopat = [&](const std::string &line, int ms) {
        SCOPED_TRACE(line + " + " + std::to_string(ms));
        const router_mark since = router.mark();
        router.parts.launch(router_part::daemon);
        EXPECT_TRUE(line.empty() || router.logs(line, since));
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
        const std::vector<std::string> before = router.log(since);
        const int end = router.stopdaemon();
        const bool handled = std::ranges::count(before, "info modem_task: start") != 0;
        if (handled || end == 0) {
            expect_end(router, end, orderly, since);
        } else if (process_endtext(end) != "signal 15 (Terminated)") {
            // The handler is there before the bus has greeted: the start fails, as without a bus.
            EXPECT_EQ(process_endtext(end), "exit status 255");
            EXPECT_TRUE(router.logs("emerg modem: ubus_connect() done error", since));
        }
    };
    for (const int ms : {0, 1, 2, 3, 5, 8, 13, 21, 34, 55})
        stopat("", ms);
    for (const char *line : {"info main: start", "info modem start", "info modem_task: start"})
        stopat(line, 0);
    ASSERT_TRUE(router.network("behave", {{"hang_ms", 400}}).ok());
    stopat("info modem start", 50);  // the start waits for the network service
}

TEST(life, signalOfTheLastMomentBeforeTheLoopIsNotLost)
{
    for (const int signal : {SIGTERM, SIGINT, SIGUSR1}) {
        virtual_router router(
            {.daemon = fast, .prefix = "env FAST_RAISE=" + std::to_string(signal), .start = false});
        router.parts.launch(router_part::daemon);
        if (signal == SIGUSR1) {
            EXPECT_TRUE(router.logs("info modem_switchtraces: traces off"));
            EXPECT_TRUE(router.becomes(statepath, "op"));
            break;
        }
        expect_end(router, router.waitdaemon(), orderly);
    }
}

TEST(life, tracesAreSwitchedWithoutARestart)
{
    for (const std::string option : {"", "\toption trace 'off'\n", "\toption trace '0'\n"}) {
        SCOPED_TRACE(option);
        const std::string config = router_defaultconfig + ("config service 'service'\n" + option);
        virtual_router router({.config = config, .daemon = fast});
        EXPECT_TRUE(router.becomes("info.network.state", "connected"));
        const bool tracing = option.find('0') == std::string::npos;
        EXPECT_EQ(router.out().empty(), !tracing) << "from the first moment";
        for (const bool traces : {tracing, !tracing, tracing}) {
            const router_mark since = router.mark();
            EXPECT_TRUE(wait_until([&] { return router.commands(since).size() >= 10; }));
            EXPECT_EQ(router.out(since).empty(), !traces);
            kill(router.parts.pid(router_part::daemon), SIGUSR1);
            const std::string word = traces ? "off" : "on";
            EXPECT_TRUE(router.logs("info modem_switchtraces: traces " + word, since));
        }
        EXPECT_EQ(router.status(statepath), "op");
        EXPECT_EQ(read_file(router_configpath), config);
    }
}

TEST(life, deathOfTheBrokerEndsTheDaemonInOrder)
{
    const moment hanging = {"network service called", {}, "op"};
    for (const moment &when : {operational, silent, initialising, hanging}) {
        SCOPED_TRACE(when.name);
        virtual_router router({.daemon = fast, .prefix = when.prefix, .start = false});
        when.reach(router);
        if (when.name == hanging.name) {
            router.network("behave", {{"hang_ms", 2000}});
            router.bus().call("kelvantorium", "reinit", {{"client", "test"}}, 50);
        }
        (void)router.parts.kill(router_part::broker);
        expect_end(router, router.waitdaemon(), orderly);
    }
}

// Processor time until the daemon has seen that the cable is gone, and some seconds of its idling.
double costofunplugging(virtual_router &router)
{
    const double before = router.usage().seconds;
    arrange(router, {{"unplug"}});
    EXPECT_TRUE(router.becomes(statepath, "error"));
    EXPECT_EQ(router.status(errorpath), "no_answer");
    std::this_thread::sleep_for(2s);
    return router.usage().seconds - before;
}

TEST(life, pulledCableCostsNoProcessorTimeAndHeals)
{
    virtual_router router({.daemon = fast, .prefix = operational.prefix, .start = false});
    operational.reach(router);
    arrange(router, {held("AT+CSQ")});
    router.bus().call("kelvantorium", "at_send", {{"client", "test"}, {"cmd", "AT+CSQ"}}, 50);
    ASSERT_TRUE(router.receives("AT+CSQ"));
    EXPECT_LT(costofunplugging(router), 0.5) << "in the middle of an exchange";
    EXPECT_GT(std::ranges::count(router.out(), "modem_pause: 50"), 20) << "between two looks";

    ASSERT_TRUE(router.modem("replug").ok());
    ASSERT_EQ(ask(router, "reinit"), "ok");
    ASSERT_TRUE(router.becomes(statepath, "op"));
    EXPECT_LT(costofunplugging(router), 0.5) << "between two passes";
}

TEST(life, standardOutputMayBeAnything)
{
    const std::string redirections[] = {
        "exec >&-",
        "exec <&- >&- 2>&-",
        "exec >/dev/full",
        "mkfifo /tmp/p1; exec 1<>/tmp/p1; head -c 65536 /dev/zero",  // nobody reads
        "mkfifo /tmp/p2; exec 3<>/tmp/p2 >/tmp/p2 3>&-",             // no reader
    };
    for (const std::string &redirection : redirections) {
        SCOPED_TRACE(redirection);
        write_file("/tmp/redirect", redirection + "\nexec \"$@\"\n");
        virtual_router router({.daemon = fast, .prefix = "sh /tmp/redirect", .start = false});
        operational.reach(router);
        EXPECT_TRUE(router.becomes("info.network.state", "connected"));
        expect_end(router, router.stopdaemon(), orderly);
        EXPECT_EQ(read_file(router_logpath).find("modem_sendat: send"), std::string::npos);
    }
}

}  // namespace
