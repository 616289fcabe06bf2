// SPDX-License-Identifier: ISC
// What every other test in the virtual router relies on.
#include "simulator/sandbox.h"

#include <filesystem>
#include <functional>
#include <net/if.h>
#include <signal.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "simulator/network/cable.h"
#include "tests/support/router.h"

using namespace std::chrono_literals;

namespace
{

// The host's: of the second group the content is seen inside, but changed nowhere.
const char *const hiddenfiles[] = {"/run/host", "/tmp/host", "/root/host", "/var/host",
                                   "/etc/config/host"};
const char *const copiedfiles[] = {"/etc/host", "/etc/folder/host"};

// Runs `inside` in a sandbox of its own, within the one that the tests run in.
pid_t startsandbox(const std::function<int()> &inside)
{
    const pid_t pid = fork();
    if (pid != 0) return pid;
    sandbox_enter();
    _exit(inside());
}

// The interface's route to a destination, both as the kernel shows them.
bool hasroute(const std::string &interface, const std::string &destination)
{
    return read_file("/proc/net/route").find(interface + "\t" + destination + "\t") !=
           std::string::npos;
}

}  // namespace

TEST(sandbox, handsOutTheExitStatusAndLeavesTheHostsFilesAlone)
{
    // A checkout below a home that is private inside.
    const std::string checkout = "/root/src/check out";
    std::filesystem::create_directories(checkout);
    std::filesystem::create_directory("/etc/folder");
    for (const char *path : hiddenfiles)
        write_file(path, "host");
    for (const char *path : copiedfiles)
        write_file(path, "host");
    write_file(checkout + "/file", "host");
    std::filesystem::current_path(checkout);

    const pid_t pid = startsandbox([] {
        int step = 1;
        for (const char *path : hiddenfiles) {
            if (std::filesystem::exists(path)) return step;
            write_file(path, "inside");
            if (read_file(path) != "inside") return step;
            step++;
        }
        for (const char *path : copiedfiles) {
            if (read_file(path) != "host") return step;
            write_file(path, "inside");
            step++;
        }
        if (std::filesystem::exists("/.host") || read_file("file") != "host") return step;
        write_file("file", "inside");
        return 42;
    });
    std::filesystem::current_path("/");
    const auto status = process_wait(pid, 60s);
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(process_endtext(*status), "exit status 42");
    for (const char *path : hiddenfiles)
        EXPECT_EQ(read_file(path), "host") << path;
    for (const char *path : copiedfiles)
        EXPECT_EQ(read_file(path), "host") << path;
    EXPECT_EQ(read_file(checkout + "/file"), "inside") << "the working directory is the host's";
}

TEST(sandbox, leavesNothingBehindWhenItsCallerIsKilled)
{
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    const pid_t pid = startsandbox([&]() -> int {
        if (fork() == 0) setsid();  // a grandchild that no signal of a terminal reaches
        (void)!write(ends[1], "x", 1);
        for (;;)
            pause();
    });
    close(ends[1]);
    char octet = 0;
    ASSERT_EQ(read(ends[0], &octet, 1), 1);
    ASSERT_EQ(read(ends[0], &octet, 1), 1);
    kill(pid, SIGKILL);
    EXPECT_EQ(read(ends[0], &octet, 1), 0) << "somebody still holds the pipe";
    close(ends[0]);
    EXPECT_TRUE(process_wait(pid, 60s).has_value());
}

TEST(network, givesAndTakesAddressAndRouteAsTold)
{
    const std::string anywhere = "00000000";
    const std::string own = "0000750A";  // 10.117.0.0, which comes with the address
    const struct {
        const char *name;
        bus_arguments behaviour;
        const char *route;
    } rows[] = {
        {"ordinary", {}, "usb0"},
        {"late", {{"delay_ms", 50}}, "usb0"},
        {"no route", {{"no_route", true}}, ""},
        {"another route", {{"other_route", true}}, "modem0"},
    };
    virtual_router router({.modem = false, .start = false});
    EXPECT_EQ(if_nametoindex("usb0"), 0U) << "without a modem";
    write_file(cable_path, "10.117.0.2");
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_TRUE(router.network("behave", row.behaviour).ok());
        ASSERT_TRUE(router.bus().call("network.interface.usb0", "up").ok());
        EXPECT_TRUE(wait_until([&] { return hasroute("usb0", own); }));
        ASSERT_TRUE(router.network("calls").ok());  // by then it has dealt with the route, too
        for (const std::string interface : {"usb0", "modem0"})
            EXPECT_EQ(hasroute(interface, anywhere), interface == row.route) << interface;
        ASSERT_TRUE(router.bus().call("network.interface.usb0", "down").ok());
        EXPECT_FALSE(hasroute("usb0", own) || hasroute("modem0", anywhere));
    }
}
