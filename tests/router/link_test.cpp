// SPDX-License-Identifier: ISC
// The data link: when usb0 is brought up and down, and what its absence does.
#include "simulator/network/link.h"

#include <algorithm>
#include <cstdlib>

#include <gtest/gtest.h>

#include "tests/router/running.h"

namespace
{

using link_calls = std::pair<int, int>;  // "up" and "down"

link_calls calls(running_router &router)
{
    const bus_reply reply = router.network("calls");
    return {std::atoi(reply["up"].c_str()), std::atoi(reply["down"].c_str())};
}

const condition unregistered = fault("AT+COPS?", "reply", 1, "\r\n+COPS: 0\r\n\r\nOK\r\n");
constexpr char notfound[] = "err modem_lteup: ubus_lookup_id didn't find network.interface.usb0";

TEST(link, everyLossIsOneDownAndEveryReturnOneUp)
{
    running_router router;
    int up = 1;
    int down = 1;
    EXPECT_EQ(calls(router), link_calls(up, down)) << "start";
    const condition losses[] = {
        fault("AT+COPS?", "error", 1), fault("AT+CPSI?", "error", 1),
        fault("AT+CPSI?", "reply", 1, "\r\n+CPSI: NO SERVICE,Online\r\n\r\nOK\r\n"), unregistered};
    for (const condition &loss : losses) {
        arrange(router, {loss});
        EXPECT_TRUE(wait_until([&] { return calls(router).second > down; }));
        EXPECT_TRUE(router.settles());
        EXPECT_EQ(calls(router), link_calls(++up, ++down)) << &loss - losses;
    }
    arrange(router, {{"adc", {{"value", 0}}}});
    EXPECT_TRUE(router.becomes(errorpath, "sim_removed"));
    (void)router.steadypass();
    EXPECT_EQ(calls(router), link_calls(up, ++down));
    for (int times = 0; times < 2; times++) {  // down again, whatever the link is
        router.renew();
        EXPECT_EQ(calls(router), link_calls(++up, ++down));
    }
    // Down at once, but the words wait for the answer that never comes.
    arrange(router, {fault("AT+COPS=0", "silence"), unregistered});
    EXPECT_TRUE(router.becomes(errorpath, "no_answer"));
    EXPECT_EQ(calls(router), link_calls(up, ++down));
    EXPECT_EQ(router.status("info.network.state"), "connected");
    EXPECT_EQ(router.stopdaemon(), 0);
    EXPECT_EQ(calls(router), link_calls(up, ++down));
}

TEST(link, connectsOnceAddressAndOwnRouteAreThere)
{
    const std::pair<bus_arguments, const char *> rows[] = {
        {{{"no_address", true}}, "none none"},
        {{{"no_route", true}}, "none none"},
        {{{"other_route", true}}, "none none"},
        {{{"delay_ms", 50}}, "203.0.113.2 203.0.113.1"},
    };
    running_router router;
    for (const auto &[behaviour, expected] : rows) {
        SCOPED_TRACE(behaviour[0].first);
        router.network("behave", behaviour);
        const int former = calls(router).first;
        EXPECT_EQ(ask(router, "reinit"), "ok");
        EXPECT_TRUE(wait_until([&] { return calls(router).first > former; }));
        if (expected[0] == 'n')
            EXPECT_EQ(router.steadypass(), lostpass);
        else
            EXPECT_TRUE(router.settles());
        const bus_reply report = router.call("get");
        EXPECT_EQ(report["info.network.ip"] + " " + report["info.network.gateway"], expected);
    }
    ASSERT_TRUE(link_setaddress("usb0", "10.117.0.10"));
    (void)router.steadypass();
    EXPECT_EQ(router.status("info.network.ip"), "203.0.113.2") << "read once";
}

TEST(link, missingNetworkServiceIsLoggedOncePerCall)
{
    // Nobody else takes what a network service before has left.
    ASSERT_TRUE(!link_exists("usb0") || link_down("usb0"));
    running_router router({.network = false, .settled = false});
    EXPECT_EQ(router.steadypass(), lostpass);
    EXPECT_TRUE(wait_until([&] { return router.log().back() == notfound; }));
    const std::vector<std::string> log = router.log();
    EXPECT_EQ(std::count(log.begin(), log.end(), notfound), 2);  // "down" of the start, "up"
    EXPECT_EQ(router.status(statepath), "op");
}

}  // namespace
