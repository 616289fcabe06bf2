// SPDX-License-Identifier: ISC
// The running daemon and its passes.
#include "tests/router/running.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <random>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "simulator/modem/pdu.h"

using namespace std::chrono_literals;

namespace
{

constexpr char orderpath[] = "/run/failing";
constexpr char recordpath[] = "/run/calls";
constexpr char passhead[] = "AT+CADC=2";
constexpr std::size_t longestpass = 64;  // commands

router_setup quickened(router_setup setup)
{
    setup.daemon = "kelvantorium-fast";
    setup.start = false;
    return setup;
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

std::string watching(bool recorded)
{
    // Neither the words of a prefix nor LD_PRELOAD can name a path with a space.
    EXPECT_TRUE(symlink(CALLS_LIBRARY, "/run/calls.so") == 0 || errno == EEXIST);
    const std::string record = recorded ? std::string(" CALLS_RECORD=") + recordpath : "";
    return "env LD_PRELOAD=/run/calls.so ASAN_OPTIONS=verify_asan_link_order=0" + record;
}

void fail(const failing_call &call)
{
    write_file(orderpath, call.name + " " + std::to_string(call.nth) + " " +
                              std::to_string(call.error) + " " + call.text);
}

bool isfailing()
{
    return access(orderpath, F_OK) == 0;
}

std::vector<std::string> recordedcalls(const std::string &thread,
                                       const std::set<std::string> &names)
{
    std::vector<std::string> found;
    for (const std::string &line : lines_of(read_file(recordpath))) {
        const std::string call = line.substr(line.find(' ') + 1);
        if (line.starts_with(thread + " ") && names.contains(call.substr(0, call.find(' '))))
            found.push_back(call);
    }
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
    return {"fault", {{"command", command}, {"kind", "silence"}, {"times", 1}}};
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

void store(virtual_router &router, std::size_t index, const std::string &pdu)
{
    const bus_arguments arguments = {{"pdu", pdu}, {"index", static_cast<std::int32_t>(index)}};
    EXPECT_EQ(router.modem("sms_pdu", arguments)["index"], std::to_string(index));
}

std::string plainpdu(const std::string &text)
{
    simulator::message message;
    message.text = simulator::encode(simulator::coding::bit7, text);
    return simulator::buildpdu(message);
}

std::vector<entry> readlist()
{
    const std::string image = read_file("/root/listsms.kelvantorium");
    EXPECT_TRUE(image.empty() || image.size() == 31908U) << image.size();
    std::vector<entry> list;
    for (std::size_t at = 4; at + 997 <= image.size(); at += 997)
        list.push_back({&image[at], &image[at + 16], &image[at + 36]});
    return list;
}

long environment(const char *name, long ordinary)
{
    const char *given = std::getenv(name);
    return given != nullptr ? std::atol(given) : ordinary;
}

unsigned seedof(const char *name)
{
    const long seed = environment(name, std::random_device()());
    std::cout << name << "=" << seed << "\n";
    return static_cast<unsigned>(seed);
}

running_router::running_router(const router_setup &setup) : virtual_router(quickened(setup))
{
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

process_usage running_router::steadyusage()
{
    process_usage now = usage();
    for (int looks = 0; looks < 20; looks++) {
        std::this_thread::sleep_for(1ms);
        now.descriptors = std::min(now.descriptors, usage().descriptors);
    }
    return now;
}

process_usage running_router::expect_nomore(const process_usage &former, long growth)
{
    const process_usage now = steadyusage();
    EXPECT_EQ(now.descriptors, former.descriptors);
    EXPECT_EQ(now.threads, former.threads);
    EXPECT_LE(now.anonymous, former.anonymous + (issanitized ? 65536 : growth));
    return now;
}

bool running_router::isidle()
{
    return wait_until([&] {  // a busy modem may still have to read what was given up
        const router_mark since = mark();
        std::this_thread::sleep_for(150ms);
        return commands(since).empty();
    });
}

void expect_end(virtual_router &router,
                int status,
                const std::vector<std::string> &lines,
                const router_mark &since)
{
    const std::string last = "info modem_task: done ok";
    EXPECT_EQ(process_endtext(status), "exit status 0");
    EXPECT_TRUE(router.logs(lines.back(), since));
    std::vector<std::string> log = router.log(since);
    if (std::ranges::count(lines, last) == 0) std::erase(log, last);
    ASSERT_GE(log.size(), lines.size());
    EXPECT_EQ(std::vector(log.end() - std::ssize(lines), log.end()), lines);
}

void expect_transition(virtual_router &router,
                       const router_mark &since,
                       const std::string &states,
                       const std::string &error,
                       const std::string &reason,
                       const std::string &detail)
{
    EXPECT_TRUE(router.becomes("info.kelvantorium.reason", reason));
    const bus_reply now = router.call("get");
    EXPECT_EQ(now["info.kelvantorium.prevstate"] + "->" + now[statepath], states);
    EXPECT_EQ(now[errorpath], error);
    const std::string priority = error == "fatal"             ? "emerg "
                                 : states.ends_with(">error") ? "err "
                                                              : "info ";
    EXPECT_TRUE(router.logs(priority + states + ": " + reason + detail, since));
}
