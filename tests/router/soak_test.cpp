// SPDX-License-Identifier: ISC
// Many passes at full pace with a modem that behaves in every way a healthy one may.
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "tests/router/running.h"

namespace
{

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr long growthlimit = 65536;  // KiB; the sanitizers keep what was freed
#else
constexpr long growthlimit = 128;
#endif

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

unsigned long setting(const char *name, unsigned long ordinary)
{
    const char *given = std::getenv(name);
    return given != nullptr ? std::strtoul(given, nullptr, 10) : ordinary;
}

TEST(soak, randomModemLeavesStateMemoryAndDescriptorsAlone)
{
    const unsigned long seed = setting("SOAK_SEED", std::random_device()());
    std::cout << "SOAK_SEED=" << seed << "\n";
    std::mt19937 random(seed);
    std::vector<condition> order(std::begin(happenings), std::end(happenings));
    running_router router({.prefix = "env FAST_INTERVAL=1"});
    const bus_reply first = router.call("get");
    const router_mark start = router.mark();
    process_usage warm;
    for (unsigned long round = 0; round < setting("SOAK_ROUNDS", 8); round++) {
        std::shuffle(order.begin(), order.end(), random);
        for (const condition &next : order) {
            const router_mark since = router.mark();
            arrange(router, {next});
            EXPECT_TRUE(router.receives("AT+CADC=2", since)) << "a further pass";
            expect_wellformed(router.call("get"), first);
            ASSERT_FALSE(HasFailure()) << next.method << " in round " << round;
        }
        if (round != 1) continue;
        warm = router.usage();
        warm.descriptors = router.descriptors();
    }
    EXPECT_NE(router.status("info.sms.recv_counter"), "0");
    EXPECT_LE(router.usage().resident, warm.resident + growthlimit);
    EXPECT_EQ(router.descriptors(), warm.descriptors);
    EXPECT_EQ(router.usage().threads, warm.threads);
    for (const std::string &line : router.log(start))  // but refused deletions, which it met
        EXPECT_FALSE(line.starts_with("err ") && !line.starts_with("err modem_delsms: ")) << line;
}

TEST(repetition, leavesMemoryAndDescriptorsAlone)
{
    running_router router({.prefix = "env FAST_INTERVAL=1"});
    arrange(router, {fault("ATV1", "error")});  // ends every initialisation at once
    const std::pair<const char *, bus_arguments> rows[] = {
        {"reinit", {}}, {"set", {{"modem_slot", "1"}, {"modem_network_apn", "internet"}}}};
    for (const auto &[method, arguments] : rows) {
        process_usage warm;
        for (int times = 0; times < 220; times++) {
            if (times == 20) warm = router.usage();
            ASSERT_EQ(ask(router, method, arguments), "ok");
            ASSERT_TRUE(router.becomes(statepath, "error"));
        }
        EXPECT_LE(router.usage().resident, warm.resident + growthlimit) << method;
        EXPECT_EQ(router.usage().descriptors, warm.descriptors) << method;
    }
}

}  // namespace
