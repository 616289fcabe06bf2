// SPDX-License-Identifier: ISC
// Many passes at full pace with a modem that behaves in every way a healthy one may.
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

using generator = std::mt19937;

int upto(generator &random, int most)
{
    return std::uniform_int_distribution<int>(0, most)(random);
}

const char *oneof(generator &random, const std::vector<const char *> &words)
{
    return words[static_cast<std::size_t>(upto(random, static_cast<int>(words.size()) - 1))];
}

std::string some(generator &random, int most, char letter)
{
    return std::string(static_cast<std::size_t>(upto(random, most)), letter);
}

// What may happen to a modem without an error of the daemon.
condition happening(generator &random)
{
    const std::vector<const char *> queries = {"AT+CGNSSINFO", "AT+COPS?", "AT+CPSI?",
                                               "AT+CPMS?",     "AT+CMGR",  "AT+CMGD"};
    const char *technology = oneof(random, {"LTE", "GSM", "WCDMA", "NR5G", "NO SERVICE"});
    const char *sinr = oneof(random, {"", "7", "-3.5", "x", "99999999999999999999"});
    const int adc = upto(random, 1) == 1 ? 800 + upto(random, 209) : 1390 + upto(random, 900);
    const condition conditions[] = {
        {"signal",
         {{"technology", technology},
          {"rssi", std::to_string(upto(random, 140) - 120)},
          {"sinr", sinr}}},
        {"radio", {{"registered", upto(random, 3) > 0}}},
        {"gnss", {{"fix", upto(random, 1) == 1}}},
        {"adc", {{"value", adc}}},
        {"operator", {{"name", some(random, 50, 'o')}}},
        {"sms_pdu", {{"pdu", oneof(random, {"00", "0791", "FF", "Z"})}}},
        {"sms",
         {{"text", some(random, 200, 'x')},
          {"coding", oneof(random, {"7bit", "8bit", "ucs2"})},
          {"reference", upto(random, 255)},
          {"wide", upto(random, 1) == 1}}},
        {"clear_faults"},
        fault(oneof(random, queries), "error", 1 + upto(random, 10)),
        {"fault",
         {{"command", "AT"},
          {"kind", oneof(random, {"late", "split", "garbage", "flood"})},
          {"text", "\r\nRING\r\n"},
          {"delay", upto(random, 5)},
          {"chunk", 1 + upto(random, 60)},
          {"times", 1 + upto(random, 10)}}},
    };
    return conditions[upto(random, static_cast<int>(std::size(conditions)) - 1)];
}

bool isnumber(const std::string &text)
{
    char *end = nullptr;
    (void)std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0';
}

// Every field in its place, and words where words belong.
void expect_wellformed(const bus_reply &reply, const bus_reply &first)
{
    ASSERT_EQ(reply.fields.size(), first.fields.size());
    for (std::size_t at = 0; at < reply.fields.size(); at++)
        ASSERT_EQ(reply.fields[at].first, first.fields[at].first);
    for (const char *name : {"rssi", "rsrp", "rsrq", "sinr", "rscp", "ecio"})
        ASSERT_TRUE(isnumber(reply[std::string("info.network.") + name])) << name;
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
    for (const auto &[path, allowed] : words)
        ASSERT_TRUE(allowed.count(reply[path]) == 1) << path << " " << reply[path];
}

TEST(soak, randomModemLeavesStateMemoryAndDescriptorsAlone)
{
    const char *asked = std::getenv("SOAK_PASSES");
    const std::size_t passes = asked != nullptr ? std::strtoul(asked, nullptr, 10) : 300;
    const char *seeded = std::getenv("SOAK_SEED");
    const unsigned seed = seeded != nullptr
                              ? static_cast<unsigned>(std::strtoul(seeded, nullptr, 10))
                              : std::random_device()();
    std::cout << "SOAK_SEED=" << seed << "\n";
    generator random(seed);
    running_router router({.interval = "1"});
    const bus_reply first = router.call("get");
    const router_mark start = router.mark();
    process_usage warm;
    long warmdescriptors = 0;
    router_mark seen = start;
    std::size_t done = 0;
    std::set<std::string> words;  // of the network's state and technology: two and four
    std::string counter = "0";
    // A machine that is busy elsewhere asks seldom: it goes on until everything has been seen.
    while (done < passes || (done < 20 * passes && (words.size() < 6 || counter == "0"))) {
        const condition next = happening(random);
        arrange(router, {next});
        const std::size_t before = done;
        EXPECT_TRUE(wait_until([&] {
            const bus_reply reply = router.call("get");
            expect_wellformed(reply, first);
            counter = reply["info.sms.recv_counter"];
            words.insert({reply["info.network.state"], reply["info.network.type"]});
            for (const std::string &command : router.commands(seen)) {
                seen.command++;
                if (command == "AT+CADC=2") done++;
            }
            return done > before || testing::Test::HasFatalFailure();
        }));
        ASSERT_FALSE(testing::Test::HasFailure()) << done << " passes, then " << next.method;
        if (before < passes / 4 && done >= passes / 4) {
            warm = router.usage();
            warmdescriptors = router.descriptors();
        }
    }
    const process_usage end = router.usage();
    EXPECT_EQ(words.size(), 6U);
    EXPECT_NE(counter, "0");
    EXPECT_LE(end.resident, warm.resident + growthlimit);
    EXPECT_EQ(router.descriptors(), warmdescriptors);
    EXPECT_EQ(end.threads, warm.threads);
    for (const std::string &line : router.log(start))  // but refused deletions, which it met
        EXPECT_FALSE(line.starts_with("err ") && !line.starts_with("err modem_delsms: ")) << line;
}

TEST(repetition, leavesMemoryAndDescriptorsAlone)
{
    running_router router;
    arrange(router, {fault("ATV1", "error")});  // ends every initialisation at once
    const auto repeat = [&](const std::string &method, const bus_arguments &arguments, int times) {
        for (; times > 0; times--) {
            ASSERT_EQ(ask(router, method, arguments), "ok");
            ASSERT_TRUE(router.becomes(statepath, "error"));
        }
    };
    const auto expect_level = [&](const std::string &method, const bus_arguments &arguments) {
        repeat(method, arguments, 20);
        const process_usage warm = router.usage();
        const long descriptors = router.descriptors();
        repeat(method, arguments, 200);
        EXPECT_LE(router.usage().resident, warm.resident + growthlimit) << method;
        EXPECT_EQ(router.descriptors(), descriptors) << method;
    };
    expect_level("reinit", {});
    expect_level("set", {{"modem_slot", "1"}, {"modem_network_apn", "internet"}});
}

}  // namespace
