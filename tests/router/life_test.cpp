// SPDX-License-Identifier: ISC
// The daemon's life: how it starts, how it stops, what it survives.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

#include "tests/router/running.h"

using namespace std::chrono_literals;

namespace
{

constexpr char fast[] = "kelvantorium-fast";
constexpr char real[] = "kelvantorium";

bool isendlogged(virtual_router &router, const router_mark &since = {})
{
    if (!router.logs("info main: done ok", since)) return false;
    const std::vector<std::string> end = {
        "info modemfree start",     "info modem_task: got modemcmdStop",
        "info modem_task: done ok", "info modemfree done ok",
        "info modem done ok",       "info main: done ok"};
    const std::vector<std::string> log = router.log(since);
    return log.size() >= end.size() && std::equal(end.rbegin(), end.rend(), log.rbegin());
}

// A state of the daemon with a modem, and the command that it has sent by then.
struct moment {
    const char *name;
    std::vector<condition> modem;
    const char *state;
    const char *command = "ATV1";
    const char *timeout = "5000";  // ms, of the fast daemon

    void reach(virtual_router &router) const
    {
        setenv("FAST_TIMEOUT", timeout, 1);
        arrange(router, modem);
        EXPECT_TRUE(router.startdaemon());
        EXPECT_TRUE(router.becomes(statepath, state));
        EXPECT_TRUE(router.receives(command));
        unsetenv("FAST_TIMEOUT");
    }
};

const moment operational = {"op", {}, "op"};
const moment silent = {"modem silent", {fault("", "silence")}, "error", "ATV1", "200"};
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
        {operational, real, whole},
        {operational, fast, "config modem 'modem'\n"},
        {{"error", {fault("AT+CIMI", "error")}, "error"}, fast, whole},
        {silent, fast, whole},
        {initialising, fast, whole, saying("\r\n+CPIN: READY\r\n\r\nOK\r\n"),
         "info init->op: init done ok"},
        {{"GNSS mode refused", {{"gnss", {{"refusals", 1000000}}}}, "init", "AT+CGNSSMODE=3"},
         real,
         whole},
        {{"USSD answer awaited", {}, "op", "AT+CPMS?"},
         fast,
         whole,
         saying("\r\n+CUSD: 2\r\n", "second"),
         "info modem_getussdanswer: get ussd answer: +CUSD: 2"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.when.name);
        virtual_router router({.config = row.config, .daemon = row.program, .start = false});
        row.when.reach(router);
        if (row.when.command == std::string("AT+CPMS?")) {  // connected
            EXPECT_EQ(ask(router, "ussd_send", {{"cmd", "*100#"}}), "ok");
            EXPECT_TRUE(router.logs("info modem_task: got modemcmdUssdAnswer"));
        }
        const auto began = std::chrono::steady_clock::now();
        kill(router.parts.pid(router_part::daemon), SIGTERM);
        EXPECT_TRUE(wait_until([&] { return !router.bus().has("kelvantorium"); }));
        arrange(router, {row.then});
        EXPECT_EQ(process_endtext(router.waitdaemon()), "exit status 0");
        EXPECT_LT(std::chrono::steady_clock::now() - began, 25s);
        EXPECT_TRUE(router.logs(row.logged));
        EXPECT_TRUE(isendlogged(router));
        std::vector<std::string> last = {"AT+CGSETV=20,0;+CGSETV=12,0;+CGSETV=59,0;+CGSETV=48,0",
                                         "AT+CGSETV=55,0;+CGSETV=56,0;+CGSETV=57,0;+CGSETV=58,0",
                                         "AT+CGSETV=25,0", "AT+CFUN=0"};
        if (row.config != whole) last.erase(last.begin() + 2);  // there is no GNSS section
        const std::vector<std::string> told = router.commands();
        EXPECT_LT(std::count(told.begin(), told.end(), "AT+CGNSSMODE=3"), 20) << "no more tries";
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
        const std::string end = process_endtext(router.stopdaemon());
        const bool handled =
            std::count(before.begin(), before.end(), "info modem_task: start") != 0;
        if (handled || end == "exit status 0") {
            EXPECT_EQ(end, "exit status 0");
            EXPECT_TRUE(isendlogged(router, since));
        } else if (end != "signal 15 (Terminated)") {
            // The handler is there before the bus has greeted: the start fails, as without a bus.
            EXPECT_EQ(end, "exit status 255");
            EXPECT_TRUE(router.logs("emerg modem: ubus_connect() done error", since));
        }
    };
    for (const int ms : {0, 1, 2, 3, 5, 8, 13, 21, 34, 55})
        stopat("", ms);
    for (const char *line : {"info main: start", "info modem start", "info modem_task: start"})
        stopat(line, 0);
    ASSERT_TRUE(router.network("behave", {{"hang_ms", 400}}).ok());
    for (const int ms : {1, 50})  // the start waits for the network service
        stopat("info modem start", ms);
}

TEST(life, signalOfTheLastMomentBeforeTheLoopIsNotLost)
{
    virtual_router router({.daemon = fast, .start = false});
    for (const int signal : {SIGTERM, SIGINT}) {
        const router_mark since = router.mark();
        setenv("FAST_RAISE", std::to_string(signal).c_str(), 1);
        router.parts.launch(router_part::daemon);
        EXPECT_EQ(process_endtext(router.waitdaemon()), "exit status 0");
        EXPECT_TRUE(isendlogged(router, since));
    }
    setenv("FAST_RAISE", std::to_string(SIGUSR1).c_str(), 1);
    router.startdaemon();
    EXPECT_TRUE(router.logs("info modem_switchtraces: traces off"));
    EXPECT_TRUE(router.becomes(statepath, "op"));
    unsetenv("FAST_RAISE");
}

TEST(life, tracesAreSwitchedWithoutARestart)
{
    struct tracing_router : virtual_router {
        using virtual_router::virtual_router;

        // Whether anything is traced while ten more commands go to the modem.
        bool traces()
        {
            const router_mark since = mark();
            EXPECT_TRUE(wait_until([&] { return commands(since).size() >= 10; }));
            return !out(since).empty();
        }
        void toggle(const std::string &word)
        {
            const router_mark since = mark();
            kill(parts.pid(router_part::daemon), SIGUSR1);
            EXPECT_TRUE(logs("info modem_switchtraces: traces " + word, since));
            EXPECT_EQ(log(since).size(), 1U);
        }
    };
    const std::string section = "\nconfig service 'service'\n\toption trace '";
    const struct {
        std::string config;
        bool tracing;
    } rows[] = {
        {router_defaultconfig, true},
        {router_defaultconfig + section + "0'\n", false},
        {router_defaultconfig + section + "off'\n", true},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.config);
        tracing_router router({.config = row.config, .daemon = fast});
        EXPECT_TRUE(router.becomes("info.network.state", "connected"));
        EXPECT_EQ(router.traces(), row.tracing);
        EXPECT_EQ(router.out().empty(), !row.tracing) << "from the first moment";
        router.toggle(row.tracing ? "off" : "on");
        EXPECT_EQ(router.traces(), !row.tracing);
        router.toggle(row.tracing ? "on" : "off");
        EXPECT_EQ(router.traces(), row.tracing);
        EXPECT_EQ(router.status(statepath), "op");
        EXPECT_EQ(read_file(router_configpath), row.config);
        EXPECT_EQ(process_endtext(router.stopdaemon()), "exit status 0");
    }
}

TEST(life, deathOfTheBrokerEndsTheDaemonInOrder)
{
    const moment hanging = {"network service called", {}, "op"};
    for (const moment &when : {operational, silent, initialising, hanging}) {
        SCOPED_TRACE(when.name);
        virtual_router router({.daemon = fast, .start = false});
        when.reach(router);
        if (when.name == hanging.name) {
            router.network("behave", {{"hang_ms", 2000}});
            router.bus().call("kelvantorium", "reinit", {{"client", "test"}}, 50);
        }
        (void)router.parts.kill(router_part::broker);
        EXPECT_EQ(process_endtext(router.waitdaemon()), "exit status 0");
        EXPECT_TRUE(isendlogged(router));
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
    virtual_router router({.daemon = fast, .start = false});
    operational.reach(router);
    arrange(router, {held("AT+CSQ")});
    router.bus().call("kelvantorium", "at_send", {{"client", "test"}, {"cmd", "AT+CSQ"}}, 50);
    ASSERT_TRUE(router.receives("AT+CSQ"));
    EXPECT_LT(costofunplugging(router), 0.5) << "in the middle of an exchange";

    ASSERT_TRUE(router.modem("replug").ok());
    ASSERT_EQ(ask(router, "reinit"), "ok");
    ASSERT_TRUE(router.becomes(statepath, "op"));
    EXPECT_LT(costofunplugging(router), 0.5) << "between two passes";
    EXPECT_EQ(process_endtext(router.stopdaemon()), "exit status 0");
    EXPECT_TRUE(isendlogged(router));
}

TEST(life, standardOutputMayBeAnything)
{
    const char *const former = std::getenv("VIRTUAL_ROUTER_PREFIX");
    const std::string prefix = former != nullptr ? former : "";
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
        setenv("VIRTUAL_ROUTER_PREFIX", ("sh /tmp/redirect " + prefix).c_str(), 1);
        virtual_router router({.daemon = fast, .start = false});
        operational.reach(router);
        EXPECT_TRUE(router.becomes("info.network.state", "connected"));
        EXPECT_EQ(process_endtext(router.stopdaemon()), "exit status 0");
        EXPECT_TRUE(isendlogged(router));
        for (const std::string &line : lines_of(read_file(router_logpath)))
            EXPECT_EQ(line.find("modem_sendat: send"), std::string::npos) << line;
    }
    setenv("VIRTUAL_ROUTER_PREFIX", prefix.c_str(), 1);
}

}  // namespace
