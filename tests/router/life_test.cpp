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

constexpr char statepath[] = "info.kelvantorium.state";

const std::string gnsslessconfig = "config modem 'modem'\n\toption slot '1'\n";

router_setup stopped(const std::string &config = router_defaultconfig,
                     const char *program = "kelvantorium-fast")
{
    router_setup setup;
    setup.config = config;
    setup.daemon = program;
    setup.start = false;
    return setup;
}

// The modem keeps its answer to the next such command to itself.
void hold(virtual_router &router, const char *command)
{
    router.modem("fault", {{"command", command}, {"kind", "silence"}, {"times", 1}});
}

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

constexpr char levelsoff[] = "AT+CGSETV=20,0;+CGSETV=12,0;+CGSETV=59,0;+CGSETV=48,0";
constexpr char slotsoff[] = "AT+CGSETV=55,0;+CGSETV=56,0;+CGSETV=57,0;+CGSETV=58,0";
constexpr char gnssoff[] = "AT+CGSETV=25,0";
constexpr char poweroff[] = "AT+CFUN=0";

void startto(virtual_router &router, const char *state)
{
    EXPECT_TRUE(router.startdaemon());
    EXPECT_TRUE(router.becomes(statepath, state));
}

// Moments for a stop.

void operational(virtual_router &router)
{
    startto(router, "op");
}

void failed(virtual_router &router)
{
    router.modem("fault", {{"command", "AT+CIMI"}, {"kind", "error"}});
    startto(router, "error");
}

void unanswered(virtual_router &router)
{
    setenv("FAST_TIMEOUT", "200", 1);
    router.modem("fault", {{"kind", "silence"}});
    startto(router, "error");
}

void initialising(virtual_router &router)
{
    hold(router, "AT+CPIN?");
    EXPECT_TRUE(router.startdaemon());
    EXPECT_TRUE(router.receives("AT+CPIN?"));
}

void refusing(virtual_router &router)
{
    router.modem("gnss", {{"refusals", 1000000}});
    EXPECT_TRUE(router.startdaemon());
    EXPECT_TRUE(router.receives("AT+CGNSSMODE=3"));
}

void awaitingussd(virtual_router &router)
{
    startto(router, "op");
    EXPECT_TRUE(router.becomes("info.network.state", "connected"));
    EXPECT_EQ(router.call("ussd_send", {{"client", "test"}, {"cmd", "*100#"}})["result"], "ok");
    EXPECT_TRUE(router.logs("info modem_task: got modemcmdUssdAnswer"));
}

// What happens once the stop has begun.

void nothing(virtual_router &) {}

void goon(virtual_router &router)
{
    router.modem("unsolicited", {{"text", "\r\n+CPIN: READY\r\n\r\nOK\r\n"}});
    EXPECT_TRUE(router.receives("AT+CFUN=1"));
}

void answerussd(virtual_router &router)
{
    router.modem("unsolicited", {{"port", "second"}, {"text", "\r\n+CUSD: 2\r\n"}});
    EXPECT_TRUE(router.logs("info modem_getussdanswer: get ussd answer: +CUSD: 2"));
}

constexpr char fast[] = "kelvantorium-fast";
constexpr char real[] = "kelvantorium";

const struct {
    const char *name;
    void (*moment)(virtual_router &);
    void (*afterwards)(virtual_router &);
    const char *program;
    bool hasgnss;
} stops[] = {
    {"op", operational, nothing, real, true},
    {"op without a GNSS section", operational, nothing, fast, false},
    {"error", failed, nothing, fast, true},
    {"modem silent", unanswered, nothing, fast, true},
    {"initialisation under way", initialising, goon, fast, true},
    {"GNSS mode refused for a minute", refusing, nothing, real, true},
    {"USSD answer awaited", awaitingussd, answerussd, fast, true},
};

TEST(life, stopSwitchesLedsAndRadioOffAndEndsInOrder)
{
    for (const auto &row : stops) {
        SCOPED_TRACE(row.name);
        virtual_router router(
            stopped(row.hasgnss ? router_defaultconfig : gnsslessconfig, row.program));
        row.moment(router);
        const auto began = std::chrono::steady_clock::now();
        kill(router.parts.pid(router_part::daemon), SIGTERM);
        EXPECT_TRUE(wait_until([&] { return !router.bus().has("kelvantorium"); }));
        row.afterwards(router);
        EXPECT_EQ(process_endtext(router.waitdaemon()), "exit status 0");
        EXPECT_LT(std::chrono::steady_clock::now() - began, 25s);
        unsetenv("FAST_TIMEOUT");
        EXPECT_TRUE(isendlogged(router));
        std::vector<std::string> last = {levelsoff, slotsoff, gnssoff, poweroff};
        if (!row.hasgnss) last.erase(last.begin() + 2);
        const std::vector<std::string> told = router.commands();
        ASSERT_GE(told.size(), last.size());
        EXPECT_EQ(std::vector(told.end() - std::ssize(last), told.end()), last);
    }
}

TEST(life, signalOfTheFirstMomentsIsNeverLost)
{
    virtual_router router(stopped());
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

TEST(life, startWithoutBrokerFailsAndLeavesNothing)
{
    router_setup setup;
    setup.broker = false;
    virtual_router router(setup);
    EXPECT_EQ(process_endtext(router.waitdaemon()), "exit status 255");
    ASSERT_TRUE(router.logs("err main: done error"));
    const std::vector<std::string> expected = {
        "info main: start", "info modem start", "emerg modem: ubus_connect() done error",
        "err main: modem() done error", "err main: done error"};
    EXPECT_EQ(router.log(), expected);
}

TEST(life, deathOfTheBrokerEndsTheDaemonInOrder)
{
    struct {
        const char *name;
        void (*moment)(virtual_router &);
    } const rows[] = {
        {"op", operational},
        {"modem silent", unanswered},
        {"initialisation under way",
         [](virtual_router &router) {
             EXPECT_TRUE(router.startdaemon());
             EXPECT_TRUE(router.receives("AT+CGMM"));
         }},
        {"network service called",
         [](virtual_router &router) {
             operational(router);
             router.network("behave", {{"hang_ms", 2000}});
             router.bus().call("kelvantorium", "reinit", {{"client", "test"}}, 50);
         }},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        virtual_router router(stopped());
        row.moment(router);
        (void)router.parts.kill(router_part::broker);
        EXPECT_EQ(process_endtext(router.waitdaemon()), "exit status 0");
        EXPECT_TRUE(isendlogged(router));
        unsetenv("FAST_TIMEOUT");
    }
}

// Processor time until the daemon has seen that the cable is gone, and some seconds of its idling.
double costofunplugging(virtual_router &router)
{
    const double before = router.usage().seconds;
    EXPECT_TRUE(router.modem("unplug").ok());
    EXPECT_TRUE(router.becomes(statepath, "error"));
    EXPECT_EQ(router.status("info.kelvantorium.error"), "no_answer");
    std::this_thread::sleep_for(3s);
    return router.usage().seconds - before;
}

TEST(life, pulledCableCostsNoProcessorTimeAndHeals)
{
    virtual_router router(stopped(router_defaultconfig, real));
    startto(router, "op");
    hold(router, "AT+CSQ");
    router.bus().call("kelvantorium", "at_send", {{"client", "test"}, {"cmd", "AT+CSQ"}}, 50);
    ASSERT_TRUE(router.receives("AT+CSQ"));
    EXPECT_LT(costofunplugging(router), 1.0) << "in the middle of an exchange";

    ASSERT_TRUE(router.modem("replug").ok());
    ASSERT_EQ(router.call("reinit", {{"client", "test"}})["result"], "ok");
    ASSERT_TRUE(router.becomes(statepath, "op"));
    EXPECT_LT(costofunplugging(router), 1.0) << "between two passes";
    EXPECT_EQ(process_endtext(router.stopdaemon()), "exit status 0");
    EXPECT_TRUE(isendlogged(router));
}

TEST(life, standardOutputMayBeAnything)
{
    const char *const former = std::getenv("VIRTUAL_ROUTER_PREFIX");
    const std::string prefix = former != nullptr ? former : "";
    struct {
        const char *name;
        const char *redirection;
    } const rows[] = {
        {"closed", "exec >&-"},
        {"all closed", "exec <&- >&- 2>&-"},
        {"full device", "exec >/dev/full"},
        {"pipe that nobody reads", "mkfifo /tmp/p1; exec 1<>/tmp/p1; head -c 65536 /dev/zero"},
        {"pipe without a reader", "mkfifo /tmp/p2; exec 3<>/tmp/p2 >/tmp/p2 3>&-"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        write_file("/tmp/redirect", std::string(row.redirection) + "\nexec \"$@\"\n");
        setenv("VIRTUAL_ROUTER_PREFIX", ("sh /tmp/redirect " + prefix).c_str(), 1);
        virtual_router router(stopped());
        startto(router, "op");
        EXPECT_TRUE(router.becomes("info.network.state", "connected"));
        EXPECT_EQ(process_endtext(router.stopdaemon()), "exit status 0");
        EXPECT_TRUE(isendlogged(router));
        for (const std::string &line : lines_of(read_file(router_logpath)))
            EXPECT_EQ(line.find("modem_sendat: send"), std::string::npos) << line;
    }
    setenv("VIRTUAL_ROUTER_PREFIX", prefix.c_str(), 1);
}

}  // namespace
