// SPDX-License-Identifier: ISC
// Messages from the modem to the bus and back, while clients keep the daemon busy and while it is
// killed.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "simulator/modem/pdu.h"
#include "tests/router/running.h"

using simulator::coding;

namespace
{

constexpr std::size_t places = 32;  // of the list

struct entry {
    std::string number, timestamp, text;

    bool operator==(const entry &) const = default;
};

// The list file, which is whole at any moment.
std::vector<entry> readlist()
{
    const std::string image = read_file("/root/listsms.kelvantorium");
    EXPECT_EQ(image.size(), 31908U);
    std::vector<entry> list;
    for (std::size_t at = 4; at + 997 <= image.size(); at += 997)
        list.push_back({&image[at], &image[at + 16], &image[at + 36]});
    return list;
}

std::string resultof(virtual_router &router, const std::string &id)
{
    return ask(router, "sms_get", {{"id", id}});
}

void expect_served(virtual_router &router, std::size_t id, const entry &expected)
{
    const bus_reply reply = router.call("sms_get", {{"id", std::to_string(id)}});
    EXPECT_EQ(reply["result"], "ok") << id;
    EXPECT_EQ((entry{reply["number"], reply["timestamp"], reply["text"]}), expected) << id;
}

void store(virtual_router &router, std::size_t index, const std::string &pdu)
{
    const bus_arguments arguments = {{"pdu", pdu}, {"index", static_cast<std::int32_t>(index)}};
    EXPECT_EQ(router.modem("sms_pdu", arguments)["index"], std::to_string(index));
}

std::string plainpdu(const std::string &text)
{
    simulator::message message;
    message.text = simulator::encode(coding::bit7, text);
    return simulator::buildpdu(message);
}

std::vector<std::size_t> deletedsince(virtual_router &router, const router_mark &since)
{
    std::vector<std::size_t> indexes;
    for (const std::string &command : router.commands(since))
        if (command.starts_with("AT+CMGD=")) indexes.push_back(std::stoul(command.substr(8)));
    return indexes;
}

// Characters as they are sent and as they are kept; the first five are in every coding.
constexpr std::pair<const char *, const char *> characters[] = {
    {"a", "a"},    {"~", "~"},    {"\"", "\""},  {"\n", "\n"},  {"0", "0"},
    {"Ж", "\xC6"}, {"я", "\xFF"}, {"Ё", "\xA8"}, {"ё", "\xB8"},
};
constexpr std::pair<const char *, const char *> senders[] = {
    {"+12345678901234567", "123456789012345"}, {"900", "900"}, {"Operator", "Operato"}};

struct random_message {
    std::vector<std::string> pdus;
    entry expected;
    std::size_t missing;  // parts; a malformed message never gets all
};

// Of any coding and length, in one part or several; some malformed.
random_message makemessage(std::minstd_rand &random, unsigned reference)
{
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    const auto how = static_cast<coding>(below(3));
    const std::size_t longest = std::array{152U, 133U, 66U}[static_cast<std::size_t>(how)];
    const std::size_t units = below(2) * (1 + below(longest));  // of a part; 0: there is but one
    std::string sent;
    std::string kept;
    for (std::size_t left = below(1 + (units == 0 ? longest : units * 8)); left > 0; left--) {
        const auto &[utf8, cp1251] = characters[below(how == coding::bit7 ? 5 : 9)];
        sent += utf8;
        kept += cp1251;
    }
    const auto &[sender, number] = senders[below(std::size(senders))];
    const std::string second = std::to_string(10 + below(50));
    const bool wide = below(2) == 0;
    random_message made = {
        simulator::splitpdus({sender, "2411161702" + second + "12", how, {}, {}}, sent,
                             {wide ? reference * 0x101 : reference, wide}, units),
        {number, "16-11-2024 17:02:" + second, kept.substr(0, units == 0 ? longest : units * 6)},
        0};
    made.missing = std::min<std::size_t>(made.pdus.size(), 6);
    if (made.pdus.size() > 1) return made;
    std::string &pdu = made.pdus[0];
    const bool damaged = below(4) == 0;
    // Service-centre address, PDU type, type of the sender's address.
    if (damaged) pdu.replace(std::array{0U, 2U, 16U, 20U}[below(4)], 2, "FF");
    if (damaged || pdu.size() / 2 < 28) made.missing = 99;
    return made;
}

TEST(messages, wellFormedOnesComeOutWholeInOrderOfCompletion)
{
    const char *wanted = std::getenv("SMS_MESSAGES");
    const unsigned long count = wanted != nullptr ? std::strtoul(wanted, nullptr, 10) : 150;
    running_router router;
    router.modem("storage", {{"capacity", 40}});
    std::minstd_rand random(20241116);
    std::array<entry, places> ring;
    std::size_t last = 0;
    std::size_t requests = 0;
    for (unsigned long done = 0; done < count && !HasFailure(); done += 5) {
        // No more at a time than the daemon keeps parts of.
        std::vector<random_message> messages;
        std::vector<std::pair<std::size_t, std::size_t>> batch;  // message, part
        for (unsigned i = 0; i < 5; i++) {
            messages.push_back(makemessage(random, i + 1));
            for (std::size_t part = 0; part < messages[i].pdus.size(); part++)
                batch.emplace_back(i, part);
        }
        std::shuffle(batch.begin(), batch.end(), random);
        const router_mark since = router.mark();
        for (std::size_t i = 0; i < batch.size(); i++)
            store(router, i + 1, messages[batch[i].first].pdus[batch[i].second]);
        std::vector<std::size_t> deleted;
        EXPECT_TRUE(wait_until([&] {
            const std::string id = std::to_string(++requests % places);
            EXPECT_EQ(router.status(statepath), "op");
            EXPECT_NE(resultof(router, id), "");
            EXPECT_EQ(ask(router, "sms_send", {{"number", "123"}, {"text", id}}), "ok");
            return (deleted = deletedsince(router, since)).size() >= batch.size();
        }));
        // The order in which they left the modem.
        for (const std::size_t index : deleted) {
            const auto &[message, part] = batch.at(index - 1);
            if (part >= 6 || --messages[message].missing > 0) continue;
            last = last % places + 1;
            ring[last - 1] = messages[message].expected;
        }
        EXPECT_TRUE(router.becomes("info.sms.recv_counter", std::to_string(last)));
        EXPECT_TRUE(std::ranges::equal(readlist(), ring));
        for (std::size_t id = 1; id <= last; id++)
            expect_served(router, id, ring[id - 1]);
    }
    EXPECT_EQ(router.modem("sent").fields.size(), requests);
}

TEST(messages, theRingServesItsTurnAndOutlivesARestart)
{
    running_router router;
    // Each is taken in before the next one comes.
    const auto receive = [&](int first, int last) {
        for (int number = first; number <= last; number++) {
            store(router, 1, plainpdu("message " + std::to_string(number)));
            EXPECT_TRUE(
                router.becomes("info.sms.recv_counter", std::to_string((number - 1) % 32 + 1)));
        }
    };
    const auto expect_message = [&](std::size_t id, std::size_t number) {
        expect_served(router, id,
                      {"79161234567", "16-11-2024 17:02:04", "message " + std::to_string(number)});
    };
    receive(1, 31);
    EXPECT_EQ(router.stopdaemon(), 0);
    ASSERT_TRUE(router.startdaemon());
    EXPECT_EQ(router.status("info.sms.recv_counter"), "31") << "at once";
    for (std::size_t id = 1; id <= 31; id++)
        expect_message(id, id);
    const std::pair<const char *, const char *> results[] = {
        {"05", "ok"},
        {"31x", "ok"},
        {"32", "error: id: 32 > info.sms.recv_counter: 31"},
        {"0", "error: id unsupported value: 0"},
        {"1234", "error: id unsupported value: 123"},
        {"one", "error: id unsupported value: one"},
        {"", "error: id is empty"},
    };
    for (const auto &[id, result] : results)
        EXPECT_EQ(resultof(router, id), result);

    ASSERT_TRUE(router.settles());
    receive(32, 33);
    expect_message(1, 33);
    EXPECT_EQ(resultof(router, "2"), "error: id: 2 > info.sms.recv_counter: 1");

    EXPECT_EQ(ask(router, "sms_clear"), "ok");
    EXPECT_TRUE(router.logs("info " + caller + "sms_clear: done ok"));
    EXPECT_EQ(resultof(router, "1"), "error: id: 1 > info.sms.recv_counter: 0");
    EXPECT_EQ(readlist().at(1).text, "message 2") << "not erased";
    EXPECT_EQ(router.stopdaemon(), 0);
    ASSERT_TRUE(router.startdaemon());
    EXPECT_EQ(router.status("info.sms.recv_counter"), "0") << "after a restart, too";
}

TEST(messages, partsWaitForOneInitialisationAtMost)
{
    running_router router;
    const std::vector<std::string> parts = simulator::splitpdus({}, "ab", {0x3A, false}, 1);
    const auto deliver = [&](const std::string &pdu) {
        const router_mark since = router.mark();
        store(router, 1, pdu);
        EXPECT_TRUE(router.receives("AT+CMGD=1", since) && router.settles());
        return router.status("info.sms.recv_counter");
    };
    EXPECT_EQ(deliver(parts[0]), "0");
    router.renew();
    EXPECT_EQ(deliver(parts[1]), "0") << "the first one has been forgotten";
    EXPECT_EQ(deliver(parts[0]), "1");
}

// Of an "A" to a number of one digit.
std::string pduto(char digit)
{
    return std::string("0001000191F") + digit + "0008020041";
}

TEST(messages, everyNumberIsTriedAndTheModemGetsTheText)
{
    constexpr char failed[] = "error: got answer ERROR";
    const struct {
        std::string number, text;
        std::vector<condition> modem;
        std::vector<std::string> pdus;
        std::string result = "ok";
    } rows[] = {
        // clang-format off
        {"+7 (916) 123-45-67;;12345;", "\xCF\xF0\xB8", {},
         {"0001000B919761214365F7000806041F04400451", "00010005912143F5000806041F04400451"}},
        {"1;2;3;4;5;6", "A", {}, {pduto('1'), pduto('2'), pduto('3'), pduto('4'), pduto('5')}},
        {";;", "A", {}, {}},
        {"1", "A", {{"fault", {{"command", "AT+CMGS"}, {"kind", "late"}, {"delay", 300}}}},
         {pduto('1')}},
        {"1;2", "A", {fault("AT+CMGS", "error", 1)}, {pduto('2')}, failed},
        {"1;2", "A", {fault("AT+CMGS", "silence", 1)}, {pduto('2')}, failed},
        {"1;2", "A", {fault("0001", "error", 1)}, {pduto('2')}, failed},
        {"1;2", "A", {fault("0001", "silence", 1)}, {pduto('2')}, failed},
        // clang-format on
    };
    running_router router;
    std::size_t sent = 0;
    for (const auto &row : rows) {
        SCOPED_TRACE(&row - rows);
        const router_mark since = router.mark();
        arrange(router, {{"clear_faults"}});
        arrange(router, row.modem);
        const bus_arguments arguments = {
            {"client", "a very long client"}, {"number", row.number}, {"text", row.text}};
        EXPECT_EQ(router.call("sms_send", arguments)["result"], row.result);
        std::vector<std::string> pdus;
        for (const auto accepted = router.modem("sent").fields; sent < accepted.size(); sent++)
            pdus.push_back(accepted[sent].second);
        EXPECT_EQ(pdus, row.pdus);
        const std::string line = "call sms_send: \"" + row.number + "\" done ok";
        EXPECT_TRUE(row.result == failed ||
                    router.logs("info a very long cli_client " + line, since));
    }
    EXPECT_EQ(router.status(statepath), "op");
}

TEST(messages, refusedDeletionIsLoggedOnceAndTheMessageReadAgain)
{
    const std::string line = "err modem_delsms: index 1: not deleted, will be read again";
    running_router router;
    const auto logged = [&] { return std::ranges::count(router.log(), line); };
    const condition refused = fault("AT+CMGD", "error");
    arrange(router, {refused});
    store(router, 1, plainpdu("A"));
    EXPECT_TRUE(router.becomes("info.sms.recv_counter", "3")) << "the same one three times";
    EXPECT_EQ(logged(), 1);
    arrange(router, {{"clear_faults"}});
    EXPECT_TRUE(wait_until([&] { return !router.modem("state").has("storage.messages.1"); }));

    arrange(router, {refused});
    EXPECT_EQ(ask(router, "sms_clear"), "ok");
    simulator::message half;
    half.text = simulator::encode(coding::bit7, "One ");
    half.part = {0x3A, false, 2, 1};
    store(router, 1, simulator::buildpdu(half));
    EXPECT_TRUE(router.becomes("info.sms.recv_counter", "1")) << "the part counts for two";
    EXPECT_EQ(router.call("sms_get", {{"id", "1"}})["text"], "One ");
    EXPECT_EQ(logged(), 2);
}

TEST(messages, nothingIsReadBeyondPlace255OrWhileDisconnected)
{
    running_router router;
    router.modem("storage", {{"capacity", 300}});
    EXPECT_TRUE(router.receives("AT+CMGR=255"));
    store(router, 255, plainpdu("the last"));
    store(router, 256, plainpdu("beyond"));
    EXPECT_TRUE(router.becomes("info.sms.recv_counter", "1"));
    EXPECT_EQ(readlist().at(0).text, "the last");
    const std::vector<std::string> commands = router.commands();
    EXPECT_EQ(std::ranges::count(commands, "AT+CMGR=256"), 0);

    arrange(router, {{"radio", {{"registered", false}}}});
    EXPECT_TRUE(router.becomes("info.network.state", "disconnected"));
    store(router, 1, plainpdu("unread"));
    (void)router.steadypass();
    EXPECT_TRUE(router.modem("state").has("storage.messages.1"));
    EXPECT_EQ(ask(router, "reinit"), "ok");
    EXPECT_TRUE(router.becomes(statepath, "op"));
    EXPECT_FALSE(router.modem("state").has("storage.messages.1")) << "deleted all the same";
    EXPECT_EQ(router.status("info.sms.recv_counter"), "1");
}

// Lost are parts that wait for others, and what is still in the modem when it is set up again.
TEST(messages, whatHasLeftTheModemIsInTheListAfterAKill)
{
    constexpr std::size_t size = 8;
    running_router router;
    arrange(router, {{"storage", {{"capacity", 8}}},
                     {"fault", {{"command", "AT+CMG"}, {"kind", "late"}, {"delay", 3}}}});
    std::minstd_rand random(7);
    for (int round = 0; round < 10; round++) {
        const router_mark since = router.mark();
        const std::string text = "round " + std::to_string(round) + " message ";
        for (std::size_t index = 1; index <= size; index++)
            store(router, index, plainpdu(text + std::to_string(index)));
        const std::size_t wanted = 1 + random() % size;
        EXPECT_TRUE(wait_until([&] { return deletedsince(router, since).size() >= wanted; }));
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 10000));
        router.killdaemon();

        const bus_reply left = router.modem("state");
        const std::vector<entry> list = readlist();
        for (std::size_t index = 1; index <= size; index++) {
            const std::string number = std::to_string(index);
            if (left.has("storage.messages." + number)) continue;
            EXPECT_TRUE(std::ranges::find(list, text + number, &entry::text) != list.end())
                << text << index;
        }
        ASSERT_TRUE(router.startdaemon());
        EXPECT_TRUE(router.becomes(statepath, "op"));
        EXPECT_EQ(readlist(), list);
    }
}

}  // namespace
