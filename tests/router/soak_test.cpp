// SPDX-License-Identifier: ISC
// Many passes at full pace with a modem that behaves in every way a healthy one may.
#include <algorithm>
#include <map>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "tests/router/running.h"

namespace
{

constexpr long growth = 128;  // KiB

condition signal(const char *technology, const char *rssi, const char *sinr)
{
    return {"signal", {{"technology", technology}, {"rssi", rssi}, {"sinr", sinr}}};
}

// What may happen to a modem without an error of the daemon.
const condition happenings[] = {
    // clang-format off
    signal("LTE", "40", "-3.5"), signal("LTE", "20", ""), signal("GSM", "-120", "x"),
    signal("GSM", "-70", "7"), signal("WCDMA", "-71", "x"), signal("WCDMA", "20", "7"),
    signal("NR5G", "20", "7"), signal("NO SERVICE", "20", "99999999999999999999"),
    {"radio", {{"registered", false}}}, {"radio", {{"registered", true}}},
    {"gnss", {{"fix", false}}}, {"gnss", {{"fix", true}}},
    {"adc", {{"value", 900}}}, {"adc", {{"value", 1500}}},
    {"operator", {{"name", std::string(50, 'o')}}}, {"operator", {{"name", ""}}},
    {"sms_pdu", {{"pdu", "00"}}}, {"sms_pdu", {{"pdu", "0791"}}}, {"sms_pdu", {{"pdu", "Z"}}},
    {"sms", {{"text", std::string(200, 'x')}, {"coding", "8bit"}, {"wide", true}}},
    {"sms", {{"text", std::string(90, 'x')}, {"coding", "ucs2"}}}, {"sms", {{"text", "x"}}},
    fault("AT+CGNSSINFO", "error", 3), fault("AT+COPS?", "error", 3), fault("AT+CPSI?", "error", 3),
    fault("AT+CPMS?", "error", 3), fault("AT+CMGR", "error", 3), fault("AT+CMGD", "error", 3),
    {"fault", {{"command", "AT"}, {"kind", "late"}, {"delay", 5}, {"times", 5}}},
    {"fault", {{"command", "AT"}, {"kind", "split"}, {"chunk", 3}, {"times", 5}}},
    fault("AT", "garbage", 5, "\r\nRING\r\n"), fault("AT", "flood", 5, "\r\nRING\r\n"),
    {"clear_faults"}, {"clear_faults"},
    // clang-format on
};

// Every field in its place, and words where words belong.
void expect_wellformed(const bus_reply &reply, const bus_reply &first)
{
    const std::map<std::string, std::set<std::string>> words = {
        {"info.kelvantorium.state", {"op"}},
        {"info.kelvantorium.error", {"none"}},
        {"info.modem.slot1_state", {"inserted"}},
        {"info.modem.slot2_state", {"inserted", "empty"}},
        {"info.gnss.state", {"available", "unavailable"}},
        {"info.network.state", {"connected", "disconnected"}},
        {"info.network.type", {"none", "2g/GSM", "3g/WCDMA", "4g/LTE"}},
        {"info.network.level", {"no signal", "weak", "medium", "good", "excellent"}},
    };
    ASSERT_EQ(reply.fields.size(), first.fields.size());
    for (std::size_t at = 0; at < reply.fields.size(); at++)
        ASSERT_EQ(reply.fields[at].first, first.fields[at].first);
    for (const auto &[path, allowed] : words)
        ASSERT_TRUE(allowed.contains(reply[path])) << path << " " << reply[path];
}

TEST(soak, randomModemLeavesStateMemoryAndDescriptorsAlone)
{
    std::mt19937 random(seedof("SOAK_SEED"));
    std::vector<condition> order(std::begin(happenings), std::end(happenings));
    running_router router({.prefix = "env FAST_INTERVAL=1"});
    const bus_reply first = router.call("get");
    const router_mark start = router.mark();
    process_usage warm;
    for (long round = 0; round < environment("SOAK_ROUNDS", 8); round++) {
        std::shuffle(order.begin(), order.end(), random);
        for (const condition &next : order) {
            const router_mark since = router.mark();
            arrange(router, {next});
            EXPECT_TRUE(router.receives("AT+CADC=2", since)) << "a further pass";
            expect_wellformed(router.call("get"), first);
            ASSERT_FALSE(HasFailure()) << next.method << " in round " << round;
        }
        if (round == 1) warm = router.steadyusage();
    }
    EXPECT_NE(router.status("info.sms.recv_counter"), "0");
    (void)router.expect_nomore(warm, growth);
    for (const std::string &line : router.log(start))  // but refused deletions, which it met
        EXPECT_FALSE(line.starts_with("err ") && !line.starts_with("err modem_delsms: ")) << line;
}

// Each `set` is followed by an initialisation, which opens the ports anew.
TEST(repetition, leavesMemoryAndDescriptorsAlone)
{
    running_router router({.prefix = "env FAST_INTERVAL=1"});
    arrange(router, {fault("ATV1", "error")});  // ends every initialisation at once
    process_usage warm;
    for (int times = 0; times < 220; times++) {
        if (times == 20) warm = router.steadyusage();
        ASSERT_EQ(ask(router, "set", {{"modem_network_apn", "internet"}}), "ok");
        ASSERT_TRUE(router.becomes(statepath, "error"));
    }
    (void)router.expect_nomore(warm, growth);
}

}  // namespace
