// What every other test in the virtual router relies on.
#include "simulator/sandbox.h"

#include <arpa/inet.h>
#include <cstring>
#include <filesystem>
#include <functional>
#include <net/if.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/router.h"

using namespace std::chrono_literals;

namespace
{

// Runs `inside` in a sandbox of its own, within the one that the tests run in.
pid_t startsandbox(const std::function<int()> &inside)
{
    const pid_t pid = fork();
    if (pid != 0) return pid;
    sandbox_enter();
    _exit(inside());
}

std::string addressof_usb0()
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq link = {};
    (void)std::snprintf(link.ifr_name, IFNAMSIZ, "usb0");
    const bool found = ioctl(fd, SIOCGIFADDR, &link) == 0;
    close(fd);
    sockaddr_in address = {};
    std::memcpy(&address, &link.ifr_addr, sizeof address);
    return found ? inet_ntoa(address.sin_addr) : "none";
}

bool hasdefaultroute(const std::string &interface)
{
    for (const std::string &line : lines_of(read_file("/proc/net/route")))
        if (line.starts_with(interface + "\t00000000\t")) return true;
    return false;
}

router_setup withoutdaemon()
{
    router_setup setup;
    setup.start = false;
    return setup;
}

}  // namespace

// Names that the host will not have.
const char *const privatefiles[] = {"/run/of-the-sandbox", "/etc/of-the-sandbox",
                                    "/tmp/of-the-sandbox", "/root/of-the-sandbox",
                                    "/etc/config/of-the-sandbox"};

TEST(sandbox, handsOutTheExitStatusAndKeepsFilesPrivate)
{
    const pid_t pid = startsandbox([] {
        for (const char *path : privatefiles) {
            write_file(path, "x");
            if (read_file(path) != "x") return 1;
        }
        return 42;
    });
    const auto status = process_wait(pid, 60s);
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(process_endtext(*status), "exit status 42");
    for (const char *path : privatefiles)
        EXPECT_FALSE(std::filesystem::exists(path)) << path;
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
    virtual_router router(withoutdaemon());
    struct {
        const char *name;
        bus_arguments behaviour;
        const char *address;
        const char *route;
    } rows[] = {
        {"ordinary", {}, "10.117.0.2", "usb0"},
        {"late", {{"delay_ms", 50}}, "10.117.0.2", "usb0"},
        {"no route", {{"no_route", true}}, "10.117.0.2", ""},
        {"another route", {{"other_route", true}}, "10.117.0.2", "modem0"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_TRUE(router.network("behave", row.behaviour).ok());
        ASSERT_TRUE(router.bus().call("network.interface.usb0", "up").ok());
        EXPECT_TRUE(wait_until([&] { return addressof_usb0() == row.address; }));
        ASSERT_TRUE(router.network("calls").ok());  // by then it has dealt with the route, too
        for (const std::string interface : {"usb0", "modem0"})
            EXPECT_EQ(hasdefaultroute(interface), interface == row.route) << interface;
        ASSERT_TRUE(router.bus().call("network.interface.usb0", "down").ok());
        EXPECT_EQ(addressof_usb0(), "none");
        EXPECT_FALSE(hasdefaultroute("usb0") || hasdefaultroute("modem0"));
    }
    EXPECT_EQ(router.network("calls")["up"], "4");
    EXPECT_EQ(router.network("calls")["down"], "4");
}

TEST(network, answersLateWhenToldToHang)
{
    virtual_router router(withoutdaemon());
    ASSERT_TRUE(router.network("behave", {{"hang_ms", 600}}).ok());
    EXPECT_EQ(router.bus().call("network.interface.usb0", "up", {}, 50).status, 7);
}

TEST(router, connectsAnewAfterTheBrokerWasRestarted)
{
    virtual_router router(withoutdaemon());
    ASSERT_TRUE(router.network("calls").ok());
    (void)router.parts.kill(router_part::network);
    (void)router.parts.kill(router_part::broker);
    ASSERT_TRUE(router.parts.start(router_part::broker)) << router.parts.error();
    ASSERT_TRUE(router.parts.start(router_part::network)) << router.parts.error();
    EXPECT_TRUE(router.network("calls").ok());
}
