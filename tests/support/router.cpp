// SPDX-License-Identifier: ISC
// The virtual router as tests use it.
#include "tests/support/router.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "simulator/network/cable.h"

using namespace std::chrono_literals;

namespace
{

constexpr char ident[] = " kelvantorium: ";

std::string environment(const char *name)
{
    const char *value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::vector<std::string> daemoncommand(const router_setup &setup)
{
    const std::string other = environment("VIRTUAL_ROUTER_DAEMON");
    const std::string program = other.empty() ? setup.daemon : other;
    std::vector<std::string> command =
        words_of(setup.prefix + " " + environment("VIRTUAL_ROUTER_PREFIX"));
    command.push_back(program.front() == '/' ? program : ROUTER_PROGRAMS "/" + program);
    return command;
}

// What an earlier router in this sandbox has left.
void cleanup()
{
    for (const char *path : {router_configpath, router_logpath, router_outpath,
                             "/root/listsms.kelvantorium", "/tmp/.uci/kelvantorium", "/dev/log",
                             "/run/silent", "/run/failing", "/run/calls", cable_path})
        (void)unlink(path);
}

std::vector<std::string> linesfrom(const std::string &path, std::size_t since)
{
    const std::string text = read_file(path);
    return lines_of(since < text.size() ? text.substr(since) : "");
}

long entriesof(const std::string &path)
{
    std::error_code error;  // the process may have ended
    return std::distance(std::filesystem::directory_iterator(path, error), {});
}

}  // namespace

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

virtual_router::virtual_router(const router_setup &setup) : parts(ROUTER_PROGRAMS)
{
    cleanup();
    if (!setup.config.empty()) write_file(router_configpath, setup.config);
    parts.setcommand(router_part::daemon, daemoncommand(setup));
    if (!setup.profile.empty()) parts.setprofile(setup.profile);
    const bool isready = startpart(router_part::log) &&
                         (!setup.broker || (startpart(router_part::broker) &&
                                            (!setup.network || startpart(router_part::network)) &&
                                            startpart(router_part::modem)));
    if (isready && setup.start) (void)startdaemon();
}

virtual_router::~virtual_router()
{
    if (!endexpected && !parts.running(router_part::daemon))
        ADD_FAILURE() << "the daemon has ended by itself: "
                      << process_endtext(parts.kill(router_part::daemon).value_or(0));
    if (testing::Test::HasFailure()) report();
}

// For the reader of a failed test: what the daemon did last.
void virtual_router::report()
{
    for (const auto &lines : {log(), out()}) {
        std::cerr << "--- log, then standard output\n";
        for (std::size_t at = lines.size() > 40 ? lines.size() - 40 : 0; at < lines.size(); at++)
            std::cerr << lines[at] << "\n";
    }
}

bool virtual_router::startpart(router_part part)
{
    const bool started = parts.start(part);
    if (!started) ADD_FAILURE() << parts.error();
    return started;
}

bool virtual_router::startdaemon()
{
    const bool started = startpart(router_part::daemon);
    endexpected = !started;
    return started;
}

int virtual_router::stopdaemon()
{
    endexpected = true;
    return parts.stop(router_part::daemon, 120s).value_or(-1);
}

int virtual_router::waitdaemon()
{
    endexpected = true;
    return parts.waitend(router_part::daemon, 120s).value_or(-1);
}

void virtual_router::killdaemon()
{
    endexpected = true;
    (void)parts.kill(router_part::daemon);
}

bus_client &virtual_router::bus()
{
    if (!client || !client->connected()) client = std::make_unique<bus_client>();
    return *client;
}

bus_reply virtual_router::call(const std::string &method, const bus_arguments &arguments)
{
    return bus().call("kelvantorium", method, arguments);
}

bus_reply virtual_router::modem(const std::string &method, const bus_arguments &arguments)
{
    return bus().call("simulator", method, arguments);
}

bus_reply virtual_router::network(const std::string &method, const bus_arguments &arguments)
{
    return bus().call("network.simulator", method, arguments);
}

std::string virtual_router::status(const std::string &path)
{
    return call("get")[path];
}

bool virtual_router::becomes(const std::string &path, const std::string &value)
{
    return wait_until([&] { return status(path) == value; });
}

router_mark virtual_router::mark()
{
    router_mark now = {read_file(router_logpath).size(), read_file(router_outpath).size(), 0};
    now.command = std::strtoul(modem("state")["commands"].c_str(), nullptr, 10);
    return now;
}

std::vector<std::string> virtual_router::log(const router_mark &since)
{
    std::vector<std::string> lines;
    for (const std::string &line : linesfrom(router_logpath, since.log)) {
        const std::size_t at = line.find(ident);
        if (at != std::string::npos && line.find(' ') == at)
            lines.push_back(line.substr(0, at + 1) + line.substr(at + sizeof ident - 1));
    }
    return lines;
}

bool virtual_router::logs(const std::string &line, const router_mark &since)
{
    return wait_until([&] { return std::ranges::count(log(since), line) > 0; });
}

std::vector<std::string> virtual_router::out(const router_mark &since)
{
    return linesfrom(router_outpath, since.out);
}

std::vector<std::string> virtual_router::commands(const router_mark &since)
{
    std::vector<std::string> commands;
    const bus_arguments arguments = {{"since", static_cast<std::int32_t>(since.command)}};
    for (const auto &[path, value] : modem("commands", arguments).fields)
        if (path.ends_with(".text")) commands.push_back(value);
    return commands;
}

bool virtual_router::receives(const std::string &command, const router_mark &since)
{
    return wait_until([&] { return std::ranges::count(commands(since), command) > 0; });
}

process_usage virtual_router::usage()
{
    const pid_t pid = parts.pid(router_part::daemon);
    const std::string folder = "/proc/" + std::to_string(pid);
    process_usage usage;
    clockid_t clock = {};
    timespec spent = {};
    if (clock_getcpuclockid(pid, &clock) == 0 && clock_gettime(clock, &spent) == 0)
        usage.seconds =
            static_cast<double>(spent.tv_sec) + static_cast<double>(spent.tv_nsec) / 1e9;
    for (const std::string &line : lines_of(read_file(folder + "/status"))) {
        (void)std::sscanf(line.c_str(), "VmRSS: %ld", &usage.resident);
        (void)std::sscanf(line.c_str(), "RssAnon: %ld", &usage.anonymous);
    }
    usage.descriptors = entriesof(folder + "/fd");
    usage.threads = entriesof(folder + "/task");
    return usage;
}
