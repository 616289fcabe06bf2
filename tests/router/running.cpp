// The running daemon and its passes.
#include "tests/router/running.h"

#include <algorithm>
#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace
{

constexpr char passhead[] = "AT+CADC=2";
constexpr std::size_t longestpass = 64;  // commands

void putenvironment(const char *name, const char *value)
{
    if (value != nullptr)
        setenv(name, value, 1);
    else
        unsetenv(name);
}

router_setup stopped(const running_setup &setup)
{
    router_setup base;
    base.config = setup.config;
    base.daemon = "kelvantorium-fast";
    base.network = setup.network;
    base.start = false;
    return base;
}

}  // namespace

running_router::running_router(const running_setup &setup) : virtual_router(stopped(setup))
{
    putenvironment("FAST_TIMEOUT", setup.timeout);
    putenvironment("FAST_INTERVAL", setup.interval);
    modem("radio", {{"delay", 0}});
    modem("storage", {{"capacity", 2}});
    if (!startdaemon()) return;
    EXPECT_TRUE(wait_until([&] { return status("info.kelvantorium.state") != "init"; }));
    EXPECT_TRUE(!setup.settled || settles());
}

bool running_router::settles()
{
    const router_mark since = passmark();
    return wait_until([&] {
        const std::vector<std::string> seen = passes(since);
        return !seen.empty() && seen.back() == fullpass;
    });
}

void running_router::renew(const char *slot)
{
    const condition ordinary[] = {
        {"clear_faults"},
        {"adc"},
        {"signal"},
        {"gnss", {{"fix", true}}},
        {"storage", {{"capacity", 2}}},
        {"sim", {{"slot", 1}, {"lock", "READY"}}},
    };
    for (const condition &row : ordinary)
        modem(row.method, row.arguments);
    EXPECT_EQ(call("set", {{"client", "test"}, {"modem_slot", slot}})["result"], "ok");
    EXPECT_TRUE(settles());
}

router_mark running_router::passmark()
{
    router_mark now = mark();
    now.command -= std::min(now.command, longestpass);
    const std::vector<std::string> recent = commands(now);
    const auto head = std::find(recent.rbegin(), recent.rend(), passhead);
    now.command += static_cast<std::size_t>(recent.rend() - head) - (head != recent.rend() ? 1 : 0);
    return now;
}

std::vector<std::string> running_router::passes(const router_mark &since)
{
    std::vector<std::string> found;
    for (const std::string &command : commands(since)) {
        if (command == passhead)
            found.push_back(command);
        else if (!found.empty())
            found.back() += " " + command;
    }
    if (!found.empty()) found.pop_back();  // not complete yet
    return found;
}

std::vector<std::string> running_router::distinctpasses(const router_mark &since)
{
    std::vector<std::string> found;
    EXPECT_TRUE(wait_until([&] { return (found = passes(since)).size() >= 8; }));
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

bool running_router::isidle()
{
    const router_mark since = mark();
    std::this_thread::sleep_for(150ms);
    return commands(since).empty();
}

std::string running_router::callunplugged(const std::string &method, const bus_arguments &arguments)
{
    std::string result = "error: info.kelvantorium.state: error";
    for (int attempts = 5; attempts > 0 && result.ends_with(".state: error"); attempts--) {
        modem("replug");
        renew();
        const router_mark pass = passmark();
        const auto length = std::count(fullpass.begin(), fullpass.end(), ' ') + 1;
        EXPECT_TRUE(wait_until([&] { return std::ssize(commands(pass)) >= length; }));
        modem("unplug");
        result = call(method, arguments)["result"];
    }
    return result;
}

void expect_transition(running_router &router,
                       const router_mark &since,
                       const std::string &prevstate,
                       const std::string &state,
                       const std::string &error,
                       const std::string &reason)
{
    EXPECT_TRUE(router.becomes("info.kelvantorium.reason", reason));
    const bus_reply now = router.call("get");
    EXPECT_EQ(now["info.kelvantorium.prevstate"], prevstate);
    EXPECT_EQ(now["info.kelvantorium.state"], state);
    EXPECT_EQ(now["info.kelvantorium.error"], error);
    const char *priority = state == "error" ? "err " : "info ";
    EXPECT_TRUE(router.logs(priority + prevstate + "->" + state + ": " + reason, since));
}
