// The data link: when usb0 is brought up and down, and what its absence does.
#include "simulator/network/link.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include <gtest/gtest.h>

#include "tests/router/running.h"

using namespace std::chrono_literals;

namespace
{

struct link_calls {
    int up = 0;
    int down = 0;
    bool operator==(const link_calls &) const = default;
    friend void PrintTo(const link_calls &calls, std::ostream *out)
    {
        *out << calls.up << " up, " << calls.down << " down";
    }
};

link_calls calls(running_router &router)
{
    const bus_reply reply = router.network("calls");
    return {std::atoi(reply["up"].c_str()), std::atoi(reply["down"].c_str())};
}

const std::string lostpass = watchpass + " AT+COPS?";

condition once(const char *command, const char *kind, const char *text = "")
{
    return {"fault", {{"command", command}, {"kind", kind}, {"text", text}, {"times", 1}}};
}

constexpr char notfound[] = "err modem_lteup: ubus_lookup_id didn't find network.interface.usb0";

TEST(link, everyLossIsOneDownAndEveryReturnOneUp)
{
    const condition losses[] = {
        once("AT+COPS?", "error"),
        once("AT+COPS?", "reply", "\r\n+COPS: 0\r\n\r\nOK\r\n"),
        once("AT+CPSI?", "error"),
        once("AT+CPSI?", "reply", "\r\n+CPSI: NO SERVICE,Online\r\n\r\nOK\r\n"),
    };
    running_router router;
    link_calls expected = {1, 1};
    EXPECT_EQ(calls(router), expected) << "start";
    for (const condition &loss : losses) {
        router.modem(loss.method, loss.arguments);
        EXPECT_TRUE(wait_until([&] { return calls(router).down > expected.down; }));
        EXPECT_TRUE(router.settles());
        expected = {expected.up + 1, expected.down + 1};
        EXPECT_EQ(calls(router), expected) << &loss - losses;
    }
    router.modem("adc", {{"value", 0}});
    EXPECT_TRUE(router.becomes("info.kelvantorium.error", "sim_removed"));
    (void)router.distinctpasses(router.passmark());
    EXPECT_EQ(calls(router), (link_calls{expected.up, expected.down + 1}));
    router.renew();  // down again, whatever the link is
    EXPECT_EQ(calls(router), (link_calls{expected.up + 1, expected.down + 2}));
    router.renew();
    EXPECT_EQ(calls(router), (link_calls{expected.up + 2, expected.down + 3}));
    EXPECT_EQ(router.stopdaemon(), 0);
    EXPECT_EQ(calls(router), (link_calls{expected.up + 2, expected.down + 4}));
}

TEST(link, lostNetworkShowsDefaultsAndIsTakenDownOnce)
{
    const std::vector<std::pair<std::string, std::string>> defaults = {
        {"state", "disconnected"}, {"provider", "none"}, {"type", "none"},   {"level", "no signal"},
        {"rssi", "-110.00"},       {"rsrp", "-100.00"},  {"rsrq", "-20.00"}, {"sinr", "0.00"},
        {"rscp", "-124.00"},       {"ecio", "-20.00"},   {"ip", "none"},     {"gateway", "none"},
        {"rx_counter", "0"},       {"tx_counter", "0"},
    };
    running_router router({.timeout = "1500"});
    router.modem("radio", {{"registered", false}});
    EXPECT_TRUE(router.becomes("info.network.state", "disconnected"));
    EXPECT_EQ(router.distinctpasses(router.passmark()).back(), lostpass + " AT+COPS=0,0");
    EXPECT_EQ(calls(router), (link_calls{1, 2}));
    const bus_reply report = router.call("get");
    for (const auto &[name, value] : defaults)
        EXPECT_EQ(report["info.network." + name], value) << name;
    EXPECT_EQ(report["info.gnss.state"], "available");

    router.modem("radio", {{"registered", true}});
    EXPECT_TRUE(router.settles());
    EXPECT_EQ(calls(router), (link_calls{2, 2}));
    // Down at once, but the words wait for the answer that never comes.
    router.modem("fault", {{"command", "AT+COPS=0"}, {"kind", "silence"}});
    const condition unregistered = once("AT+COPS?", "reply", "\r\n+COPS: 0\r\n\r\nOK\r\n");
    router.modem(unregistered.method, unregistered.arguments);
    EXPECT_TRUE(router.becomes("info.kelvantorium.error", "no_answer"));
    EXPECT_EQ(calls(router), (link_calls{2, 3}));
    EXPECT_EQ(router.status("info.network.state"), "connected");
}

TEST(link, connectsOnceAddressAndOwnRouteAreThere)
{
    running_router router;
    router.network("behave", {{"no_address", true}});
    EXPECT_EQ(router.call("reinit", {{"client", "test"}})["result"], "ok");
    EXPECT_TRUE(wait_until([&] { return calls(router).up == 2; }));
    const auto waits = [&] {
        return router.distinctpasses(router.passmark()).back() == lostpass &&
               router.status("info.network.ip") == "none";
    };
    EXPECT_TRUE(waits()) << "no address";
    ASSERT_TRUE(link_setaddress("usb0", "10.117.0.9"));
    EXPECT_TRUE(waits()) << "no route";
    ASSERT_TRUE(link_setaddress("modem0", "10.118.0.2") && link_addroute("modem0", "10.118.0.1"));
    EXPECT_TRUE(waits()) << "another interface's route";
    ASSERT_TRUE(link_down("modem0") && link_up("modem0") && link_addroute("usb0", "10.117.0.1"));
    EXPECT_TRUE(router.settles());
    EXPECT_EQ(router.status("info.network.ip"), "10.117.0.9");
    EXPECT_EQ(router.status("info.network.gateway"), "10.117.0.1");
    EXPECT_EQ(calls(router), (link_calls{2, 2}));
    ASSERT_TRUE(link_setaddress("usb0", "10.117.0.10"));
    (void)router.distinctpasses(router.passmark());
    EXPECT_EQ(router.status("info.network.ip"), "10.117.0.9") << "read once";
}

TEST(link, missingNetworkServiceIsLoggedOncePerCall)
{
    running_router router({.network = false, .settled = false});
    EXPECT_EQ(router.distinctpasses(router.passmark()).back(), lostpass);
    EXPECT_TRUE(wait_until([&] { return router.log().back() == notfound; }));
    const std::vector<std::string> log = router.log();
    EXPECT_EQ(std::count(log.begin(), log.end(), notfound), 2);  // "down" of the start, "up"
    EXPECT_EQ(router.status("info.kelvantorium.state"), "op");
}

TEST(link, hangingNetworkServiceHoldsACallForASecond)
{
    running_router router;
    router.network("behave", {{"hang_ms", 60000}});
    const auto asked = std::chrono::steady_clock::now();
    EXPECT_EQ(router.call("reinit", {{"client", "test"}})["result"], "ok");
    const auto taken = std::chrono::steady_clock::now() - asked;
    EXPECT_GE(taken, 900ms);
    EXPECT_LT(taken, 30s);
    EXPECT_TRUE(router.becomes("info.kelvantorium.state", "op"));
    EXPECT_TRUE(router.settles()) << "nobody has taken the link down";
}

}  // namespace
