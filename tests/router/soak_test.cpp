// Many passes at full pace with a modem that behaves in every way a healthy one may.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
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

condition newfault(generator &random)
{
    const std::vector<const char *> queries = {"AT+CGNSSINFO", "AT+COPS?", "AT+CPSI?",
                                               "AT+CPMS?",     "AT+CMGR",  "AT+CMGD"};
    const char *kind = oneof(random, {"error", "late", "split", "garbage", "flood"});
    const char *command = kind == std::string("error") ? oneof(random, queries) : "AT";
    return {"fault",
            {{"command", command},
             {"kind", kind},
             {"text", kind == std::string("garbage") ? "\r\nRING\r\n" : ""},
             {"delay", upto(random, 5)},
             {"chunk", 1 + upto(random, 60)},
             {"times", 1 + upto(random, 10)}}};
}

condition newmessage(generator &random)
{
    if (upto(random, 3) == 0)
        return {"sms_pdu", {{"pdu", oneof(random, {"00", "0791", "FF", "Z"})}}};
    return {"sms",
            {{"text", std::string(static_cast<std::size_t>(upto(random, 200)), 'x')},
             {"coding", oneof(random, {"7bit", "8bit", "ucs2"})},
             {"reference", upto(random, 255)},
             {"wide", upto(random, 1) == 1}}};
}

condition newsignal(generator &random)
{
    const std::string value = std::to_string(upto(random, 140) - 120);
    return {"signal",
            {{"technology", oneof(random, {"LTE", "GSM", "WCDMA", "NR5G", "NO SERVICE"})},
             {"rssi", value},
             {"sinr", oneof(random, {"", "7", "-3.5", "x", "99999999999999999999"})}}};
}

// What may happen to a modem without an error of the daemon.
condition happening(generator &random)
{
    switch (upto(random, 7)) {
        case 0:
            return newsignal(random);
        case 1:
            return {"radio", {{"registered", upto(random, 3) > 0}}};
        case 2:
            return {"gnss", {{"fix", upto(random, 1) == 1}}};
        case 3:
            return {"adc",
                    {{"value", oneof(random, {"", "x"})[0] == 'x' ? 800 + upto(random, 209)
                                                                  : 1390 + upto(random, 900)}}};
        case 4:
            return {"operator",
                    {{"name", std::string(static_cast<std::size_t>(upto(random, 50)), 'o')}}};
        case 5:
            return newmessage(random);
        case 6:
            return {"clear_faults"};
        default:
            return newfault(random);
    }
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

const char *const networkwords[] = {"connected", "disconnected", "none",
                                    "2g/GSM",    "3g/WCDMA",     "4g/LTE"};

TEST(soak, randomModemLeavesStateMemoryAndDescriptorsAlone)
{
    const char *asked = std::getenv("SOAK_PASSES");
    const std::size_t passes = asked != nullptr ? std::strtoul(asked, nullptr, 10) : 300;
    generator random(20240315);
    running_router router({.interval = "1"});
    const bus_reply first = router.call("get");
    const router_mark start = router.mark();
    const auto began = std::chrono::steady_clock::now();
    process_usage warm;
    router_mark seen = start;
    std::size_t done = 0;
    std::size_t gets = 0;
    std::map<std::string, std::size_t> seenwords;  // of the network's state and technology
    // A machine that is busy elsewhere asks seldom: it goes on until it has seen every word.
    const auto allseen = [&] {
        return std::all_of(std::begin(networkwords), std::end(networkwords),
                           [&](const char *word) { return seenwords[word] > 0; });
    };
    while (done < passes || (done < 20 * passes && !allseen())) {
        const condition next = happening(random);
        EXPECT_TRUE(router.modem(next.method, next.arguments).ok()) << next.method;
        const std::size_t before = done;
        EXPECT_TRUE(wait_until([&] {
            const bus_reply reply = router.call("get");
            expect_wellformed(reply, first);
            gets++;
            seenwords[reply["info.network.state"]]++;
            seenwords[reply["info.network.type"]]++;
            for (const std::string &command : router.commands(seen)) {
                seen.command++;
                if (command == "AT+CADC=2") done++;
            }
            return done > before || testing::Test::HasFatalFailure();
        }));
        ASSERT_FALSE(testing::Test::HasFailure()) << done << " passes, then " << next.method;
        if (before < passes / 4 && done >= passes / 4) warm = router.usage();
    }
    const process_usage end = router.usage();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - began;
    std::printf("%zu passes, %zu calls of get in %.1f s; resident %ld KiB, then %ld KiB\n", done,
                gets, taken.count(), warm.resident, end.resident);
    EXPECT_TRUE(allseen());
    EXPECT_NE(router.status("info.sms.recv_counter"), "0");
    EXPECT_LE(end.resident, warm.resident + growthlimit);
    EXPECT_EQ(end.descriptors, warm.descriptors);
    EXPECT_EQ(end.threads, warm.threads);
    for (const std::string &line : router.log(start))
        EXPECT_FALSE(line.starts_with("err ")) << line;
}

}  // namespace
