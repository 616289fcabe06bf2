// SPDX-License-Identifier: ISC
// What the real program asks of the system, as recorded while time flies: every wait and time-out
// in its exact milliseconds, and the settings of its log, its ports and its threads.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <syslog.h>
#include <termios.h>

#include <gtest/gtest.h>

#include "tests/router/running.h"

namespace
{

using texts = std::vector<std::string>;

constexpr char answered[] = ", timer 0, timer 15000, timer 0, pause 1";
constexpr char unanswered[] = ", timer 0, timer 15000, timer 0";

// Each command with what its thread waits for until the next one, "AT, timer 15000, pause 1", but
// for those that have the usual waits only. The first one is what comes before any command.
// Repeated waits are one, and so is what is left of one that something has interrupted; "timer 0"
// stops a timer.
texts irregular(const std::string &thread)
{
    texts found = {""};
    std::string former;
    for (const std::string &call :
         recordedcalls(thread, {"send", "timer", "pause", "wait", "poll"})) {
        const bool iswait = call.starts_with("wait ") || call.starts_with("poll ");
        const bool isremainder = iswait && std::atoi(call.c_str() + 5) < 1000;
        if (isremainder || call == former) continue;
        former = call;
        if (call.starts_with("send ")) {
            if (found.back().ends_with(answered)) found.pop_back();
            found.push_back(call.substr(5));
        } else {
            found.back() += ", " + call;
        }
    }
    if (found.back().ends_with(answered)) found.pop_back();
    return found;
}

TEST(waits, areExactInTheRealProgram)
{
    virtual_router router({.prefix = watching(true), .start = false});
    arrange(router, {{"radio", {{"delay", 0}}}, {"storage", {{"capacity", 1}}}});
    ASSERT_TRUE(router.startdaemon());
    ASSERT_TRUE(router.becomes("info.network.state", "connected"));
    ASSERT_TRUE(router.receives("AT+CMGR=1"));
    ASSERT_EQ(ask(router, "ussd_send", {{"cmd", "*100#"}}), "ok");  // without an answer
    ASSERT_TRUE(router.becomes("info.ussd.answer", "response timeout expired"));
    router.network("behave", {{"hang_ms", 60000}});
    ASSERT_EQ(ask(router, "reinit"), "ok");
    ASSERT_TRUE(router.becomes(statepath, "op"));
    arrange(router, {fault("AT+SILENT", "silence")});
    (void)ask(router, "at_send", {{"cmd", "AT+SILENT"}});
    ASSERT_TRUE(router.becomes(errorpath, "no_answer"));

    const auto usual = [](const char *command) { return std::string(command) + answered; };
    const texts script = {usual("AT+CGNSSPWR=1") + ", pause 50",  // a second in slices
                          usual("AT+CFUN=4") + ", pause 5000", usual("AT+CFUN=1") + ", pause 5000"};
    texts expected = {""};
    expected.insert(expected.end(), script.begin(), script.end());
    expected.back() += ", timer 0, timer 30000, timer 0";  // of the USSD answer
    expected.back() += ", pause 1000";                     // before the re-initialisation
    expected.insert(expected.end(), script.begin(), script.end());
    EXPECT_EQ(irregular("worker"), expected);
    EXPECT_EQ(std::ranges::count(recordedcalls("worker", {"pause"}), "pause 50"), 2 * 20);

    // Two pass ends: with and without the link.
    const texts ends = {usual("AT+CMGR=1") + ", wait 1000", usual("AT+COPS?") + ", wait 1000"};
    const std::string called = ", poll 1000";  // the network service
    const texts rest = {called + ", wait 1000", usual("AT+COPS?") + called,
                        ends[0] + called + ", wait 1000", usual("AT+COPS?") + called,
                        std::string("AT+SILENT") + unanswered + ", wait 1000"};
    texts loop;
    EXPECT_TRUE(wait_until([&] { return (loop = irregular("loop")).back() == rest.back(); }));
    std::erase_if(loop, [&](const auto &text) { return text == ends[0] || text == ends[1]; });
    for (std::string &text : loop)
        if (text == usual("AT+COPS?") + called + ", wait 1000") text = usual("AT+COPS?") + called;
    EXPECT_EQ(loop, rest);
}

TEST(process, settingsOfLogPortsAndThreadsAreFixed)
{
    virtual_router router({.prefix = watching(true)});
    ASSERT_TRUE(router.becomes(statepath, "op"));
    const texts atstart = {
        "openlog kelvantorium " + std::to_string(LOG_PID | LOG_CONS | LOG_NDELAY) + " " +
            std::to_string(LOG_USER),
        "timerfd_create " + std::to_string(CLOCK_MONOTONIC),
        "timerfd_create " + std::to_string(CLOCK_MONOTONIC),
        "pthread_setschedparam itself " + std::to_string(SCHED_FIFO) + " 70",
        "pthread_create 131072",
        "pthread_setschedparam another " + std::to_string(SCHED_FIFO) + " 69",
    };
    EXPECT_EQ(recordedcalls(
                  "loop", {"openlog", "timerfd_create", "pthread_setschedparam", "pthread_create"}),
              atstart);

    const texts ports = recordedcalls("worker", {"tcsetattr"});
    ASSERT_EQ(ports.size(), 2U);
    EXPECT_NE(ports[0], ports[1]);
    for (const std::string &port : ports)
        EXPECT_TRUE(port.ends_with(" 0 0 " + std::to_string(CREAD | CLOCAL) + " 0")) << port;

    std::set<std::string> names;
    const std::string tasks =
        "/proc/" + std::to_string(router.parts.pid(router_part::daemon)) + "/task";
    for (const auto &entry : std::filesystem::directory_iterator(tasks))
        names.insert(read_file(entry.path() / "comm"));
    EXPECT_EQ(names, (std::set<std::string>{"kelvantorium\n", "modem_task\n"}));
}

}  // namespace
