// SPDX-License-Identifier: ISC
// The running daemon and its passes.
#include "tests/router/running.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace
{

constexpr char prefixname[] = "VIRTUAL_ROUTER_PREFIX";
constexpr char orderpath[] = "/run/failing";
constexpr char recordpath[] = "/run/calls";
constexpr char librarypath[] = "/run/calls.so";
constexpr char passhead[] = "AT+CADC=2";
constexpr std::size_t longestpass = 64;  // commands

void putenvironment(const char *name, const char *value)
{
    if (value != nullptr)
        setenv(name, value, 1);
    else
        unsetenv(name);
}

std::vector<std::string> passes(virtual_router &router, const router_mark &since)
{
    std::vector<std::string> found;
    for (const std::string &command : router.commands(since)) {
        if (command == passhead)
            found.push_back(command);
        else if (!found.empty())
            found.back() += " " + command;
    }
    if (!found.empty()) found.pop_back();  // not complete yet
    return found;
}

}  // namespace

call_watch::call_watch(bool recorded)
{
    if (const char *former = std::getenv(prefixname)) formerprefix = former;
    const std::string record = recorded ? std::string(" CALLS_RECORD=") + recordpath : "";
    // Neither the words of a prefix nor LD_PRELOAD can name a path with a space.
    EXPECT_TRUE(symlink(CALLS_LIBRARY, librarypath) == 0 || errno == EEXIST);
    putenvironment(prefixname, (std::string("env LD_PRELOAD=") + librarypath + record +
                                " ASAN_OPTIONS=verify_asan_link_order=0 " + formerprefix)
                                   .c_str());
    (void)unlink(recordpath);
    (void)unlink(orderpath);
}

call_watch::~call_watch()
{
    putenvironment(prefixname, formerprefix.c_str());
    (void)unlink(orderpath);
}

void call_watch::fail(const failing_call &call) const
{
    write_file(orderpath, call.name + " " + std::to_string(call.nth) + " " +
                              std::to_string(call.error) + " " + call.text);
}

bool call_watch::isfailing() const
{
    return access(orderpath, F_OK) == 0;
}

std::vector<std::string> call_watch::calls(const std::string &thread) const
{
    std::vector<std::string> found;
    for (const std::string &line : lines_of(read_file(recordpath)))
        if (line.starts_with(thread + " ")) found.push_back(line.substr(thread.size() + 1));
    return found;
}

condition fault(const std::string &command,
                const std::string &kind,
                int times,
                const std::string &text)
{
    return {"fault",
            {{"command", command}, {"kind", kind}, {"times", times}, {"text", text}},
            kind == "silence"};
}

condition held(const char *command)
{
    condition row = fault(command, "silence", 1);
    row.isgivenup = false;
    return row;
}

condition saying(const std::string &text, const char *port)
{
    return {"unsolicited", {{"port", port}, {"text", text}}};
}

void arrange(virtual_router &router, const std::vector<condition> &conditions)
{
    for (const condition &row : conditions) {
        if (row.isgivenup) expect_silence(std::get<std::string>(row.arguments[0].second));
        EXPECT_TRUE(router.modem(row.method, row.arguments).ok()) << row.method;
    }
}

void expect_silence(const std::string &command)
{
    write_file("/run/silent", command);
}

std::string ask(virtual_router &router, const std::string &method, bus_arguments arguments)
{
    arguments.emplace_back("client", "fifteen letters+");
    return router.call(method, arguments)["result"];
}

running_router::running_router(const running_setup &setup)
    : virtual_router({.config = setup.config,
                      .daemon = "kelvantorium-fast",
                      .profile = setup.profile,
                      .network = setup.network,
                      .start = false})
{
    putenvironment("FAST_INTERVAL", setup.interval);
    arrange(*this, {{"radio", {{"delay", 0}}}, {"storage", {{"capacity", 2}}}});
    if (!startdaemon()) return;
    EXPECT_TRUE(wait_until([&] { return status(statepath) != "init"; }));
    EXPECT_TRUE(!setup.settled || settles());
}

bool running_router::settles()
{
    const router_mark since = passmark();
    return wait_until([&] {
        const std::vector<std::string> seen = passes(*this, since);
        return !seen.empty() && seen.back() == fullpass;
    });
}

void running_router::renew(const char *slot)
{
    arrange(*this, {{"clear_faults"},
                    {"adc"},
                    {"signal"},
                    {"gnss", {{"fix", true}}},
                    {"storage", {{"capacity", 2}}},
                    {"sim", {{"slot", 1}, {"lock", "READY"}}}});
    EXPECT_EQ(ask(*this, "set", {{"modem_slot", slot}}), "ok");
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

std::vector<std::string> running_router::distinctpasses(const router_mark &since)
{
    std::vector<std::string> found;
    EXPECT_TRUE(wait_until([&] { return (found = passes(*this, since)).size() >= 8; }));
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

std::string running_router::steadypass()
{
    return distinctpasses(passmark()).back();
}

long running_router::descriptors()
{
    long least = usage().descriptors;
    for (int looks = 0; looks < 20; looks++) {
        std::this_thread::sleep_for(1ms);
        least = std::min(least, usage().descriptors);
    }
    return least;
}

bool running_router::isidle()
{
    const router_mark since = mark();
    std::this_thread::sleep_for(150ms);
    return commands(since).empty();
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
    EXPECT_EQ(now[statepath], state);
    EXPECT_EQ(now[errorpath], error);
    const char *priority = state == "error" ? "err " : "info ";
    EXPECT_TRUE(router.logs(priority + prevstate + "->" + state + ": " + reason, since));
}
