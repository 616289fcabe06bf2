// SPDX-License-Identifier: ISC
// Messages from the modem to the bus and back, also while clients keep the daemon busy.
#include <algorithm>

#include <gtest/gtest.h>

#include "simulator/modem/pdu.h"
#include "tests/router/running.h"

namespace
{

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

TEST(messages, allComeOutWholeWhileClientsKeepTheDaemonBusy)
{
    const char *const codings[] = {"7bit", "8bit", "ucs2"};
    running_router router;
    // They are all there before it looks: the parts of five messages can wait, and a pass that
    // is overtaken by what arrives may find the beginnings of more.
    arrange(router, {{"storage", {{"capacity", 60}}}, fault("AT+CPMS?", "error")});
    EXPECT_TRUE(router.receives("AT+CPMS?", router.mark()));
    std::vector<std::string> expected;
    for (int number = 0; number < 20; number++) {
        expected.push_back(std::to_string(number) + std::string(210, 'x'));
        arrange(router, {{"sms",
                          {{"text", expected.back()},
                           {"coding", codings[number % 3]},
                           {"order", number % 3 == 2 ? "4,2,1,3" : "2,1"},
                           {"reference", number},
                           {"wide", number % 2 == 0}}}});
    }
    arrange(router, {{"clear_faults"}});
    std::size_t requests = 0;
    EXPECT_TRUE(wait_until([&] {
        EXPECT_NE(resultof(router, std::to_string(++requests % 32)), "");
        EXPECT_EQ(ask(router, "sms_send", {{"number", "123"}, {"text", "A"}}), "ok");
        return router.status("info.sms.recv_counter") == std::to_string(expected.size());
    }));
    EXPECT_EQ(router.modem("sent").fields.size(), requests);
    std::vector<std::string> found;
    for (const entry &message : readlist())
        if (!message.text.empty()) found.push_back(message.text);
    for (std::size_t id = 1; id <= found.size(); id++)
        expect_served(router, id, {"79161234567", "16-11-2024 17:02:04", found[id - 1]});
    std::ranges::sort(expected);
    std::ranges::sort(found);
    EXPECT_EQ(found, expected);
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

TEST(messages, everyNumberIsTriedAndTheModemGetsTheText)
{
    constexpr char failed[] = "error: got answer ERROR";
    const auto pduto = [](char digit) {  // an "A" to a number of one digit
        return std::string("0001000191F") + digit + "0008020041";
    };
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
        EXPECT_EQ(ask(router, "sms_send", {{"number", row.number}, {"text", row.text}}),
                  row.result);
        std::vector<std::string> pdus;
        for (const auto accepted = router.modem("sent").fields; sent < accepted.size(); sent++)
            pdus.push_back(accepted[sent].second);
        EXPECT_EQ(pdus, row.pdus);
        const std::string line = "info " + caller + "sms_send: \"" + row.number + "\" done ok";
        EXPECT_TRUE(row.result == failed || router.logs(line, since));
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
    store(router, 1, plainpdu("B"));
    EXPECT_TRUE(router.becomes("info.sms.recv_counter", "6"));
    EXPECT_EQ(logged(), 2);
}

TEST(messages, placesAreReadUpTo255)
{
    running_router router;
    router.modem("storage", {{"capacity", 300}});
    EXPECT_TRUE(router.receives("AT+CMGR=255"));
    store(router, 255, plainpdu("the last"));
    store(router, 256, plainpdu("beyond"));
    EXPECT_TRUE(router.becomes("info.sms.recv_counter", "1"));
    EXPECT_EQ(readlist().at(0).text, "the last");
    EXPECT_EQ(std::ranges::count(router.commands(), "AT+CMGR=256"), 0);
}

}  // namespace
