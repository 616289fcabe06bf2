// SPDX-License-Identifier: ISC
// USSD requests with their answers on the second port, raw AT commands, and what refuses both or
// fails them.
#include <algorithm>

#include <gtest/gtest.h>

#include "tests/router/running.h"

namespace
{

std::string send(virtual_router &router, const std::string &code)
{
    return ask(router, "ussd_send", {{"cmd", code}});
}

// The end of a request that the network answers, in two pieces, with `line`; its published answer.
std::string answer(virtual_router &router, const std::string &line = "")
{
    const std::string text = "\r\n" + line + "\r\n";
    for (const std::string &piece : {text.substr(0, 9), text.size() > 9 ? text.substr(9) : ""})
        if (!line.empty()) arrange(router, {saying(piece, "second")});
    EXPECT_TRUE(router.becomes("info.ussd.state", "stopped"));
    return router.status("info.ussd.answer");
}

TEST(ussd, requestRunsUntilItsAnswerIsPublished)
{
    std::string longest;
    for (int i = 0; i < 120; i++)
        longest += "0041";
    const std::pair<std::string, std::string> rows[] = {
        {"+CUSD: 1,\"" + longest + "\",17", std::string(80, 'A')},
        {"+CUSD: 0,\"041F04400438043204350442\",72", "\xCF\xF0\xE8\xE2\xE5\xF2"},
        {"+CUSD: 2,72", "none"},
        {"+CUSD: 4", "operation not supported"},
        {"+CME ERROR: -12", "cmd not supported"},
        {"+CME ERROR: 30", "none"},
    };
    running_router router;
    const std::string code(31, '1');
    const router_mark since = router.mark();
    for (const auto &[line, expected] : rows) {
        SCOPED_TRACE(line);
        arrange(router, {saying("+CUSD: 4\r\n", "second")});  // too early
        EXPECT_EQ(send(router, code + "23456789#"), "ok");
        EXPECT_EQ(send(router, "2"), "error: info.ussd.state: running");
        EXPECT_EQ(router.status("info.ussd.state"), "running");
        EXPECT_EQ(router.status("info.ussd.answer"), "none");
        EXPECT_EQ(answer(router, line), expected);
        EXPECT_EQ(router.status("info.ussd.cmd"), code);
        if (HasFailure()) return;  // every wait would be in vain
    }
    const std::string command = "AT+CUSD=1,\"" + code + "\",15";
    EXPECT_TRUE(router.receives(command, since));
    EXPECT_TRUE(router.logs("info " + caller + "ussd_send: " + command + ": done ok"));
    EXPECT_EQ(router.status(statepath), "op");
}

TEST(ussd, refusedAndSilentRequestsLeaveTheNextOneFree)
{
    running_router router;
    for (const char *kind : {"error", "silence"}) {
        arrange(router, {fault("AT+CUSD", kind, 1)});
        EXPECT_EQ(send(router, "1"), "error: got answer ERROR") << kind;
        EXPECT_EQ(router.status("info.ussd.state"), "stopped") << kind;
    }
    expect_silence("+CUSD");
    EXPECT_EQ(send(router, "2"), "ok");
    EXPECT_EQ(answer(router), "response timeout expired");
    EXPECT_EQ(router.status(statepath), "op");

    expect_silence("+CUSD");
    EXPECT_EQ(send(router, "3"), "ok");
    arrange(router, {{"unplug"}});
    EXPECT_TRUE(router.becomes(statepath, "error"));
    arrange(router, {{"replug"}});
    router.renew();
    EXPECT_EQ(answer(router), "none");
    EXPECT_EQ(send(router, "4"), "ok");
    EXPECT_EQ(answer(router, "+CUSD: 5"), "network time out");
}

TEST(sending, isRefusedInOrder)
{
    const bus_arguments sms = {{"client", ""}, {"number", ""}, {"text", ""}};
    const bus_arguments ussd = {{"client", ""}, {"cmd", ""}};
    running_router router;
    const auto expect = [&](const char *method, const bus_arguments &arguments,
                            const std::string &result) {
        EXPECT_EQ(router.call(method, arguments)["result"], "error: " + result);
    };
    const auto expect_state = [&](const char *result) {
        expect("sms_send", sms, result);
        expect("ussd_send", ussd, result);
    };
    expect("sms_send", {{"client", ""}, {"text", ""}}, "msg has no number");
    expect("sms_send", {{"client", ""}, {"number", ""}}, "msg has no text");
    expect("sms_send", sms, "text is empty");
    expect("sms_send", {{"client", ""}, {"number", ""}, {"text", "A"}}, "number is empty");
    expect("sms_send", {{"client", ""}, {"number", "1"}, {"text", "A"}}, "client is empty");
    expect("at_send", ussd, "cmd is empty");
    expect("ussd_send", {{"client", ""}}, "msg has no cmd");
    expect("ussd_send", ussd, "cmd is empty");
    expect("ussd_send", {{"client", ""}, {"cmd", "1"}}, "client is empty");
    EXPECT_EQ(send(router, "1"), "ok");
    expect("ussd_send", ussd, "info.ussd.state: running");
    arrange(router, {{"radio", {{"registered", false}}}});
    ASSERT_TRUE(router.becomes("info.network.state", "disconnected"));
    expect_state("info.network.state: disconnected");
    arrange(router, {{"adc", {{"value", 0}}}});
    ASSERT_TRUE(router.becomes(statepath, "error"));
    expect_state("info.kelvantorium.state: error");
}

TEST(sending, controlCharactersStayOutOfCommandsAndLogLines)
{
    running_router router;
    const std::string cut(31, '1');
    for (const char *code : {"*1#\",15\rAT+CFUN=0\r", "1\n2", "1\x7F", "\t"})
        EXPECT_EQ(send(router, code), std::string("error: cmd unsupported value: ") + code);
    EXPECT_EQ(router.call("ussd_send", {{"client", ""}, {"cmd", "\""}})["result"],
              "error: client is empty");
    EXPECT_EQ(std::ranges::count(router.commands(), "AT+CFUN=0"), 1) << "the initialisation's";
    EXPECT_EQ(send(router, cut + "\r"), "ok") << "the cap comes first";

    arrange(router, {fault("AT+X", "silence", 1)});
    const struct {
        std::string method;
        bus_arguments arguments;
        std::string line;
    } rows[] = {
        {"sms_clear", {}, "info a?b?_client call sms_clear: done ok"},
        {"sms_send",
         {{"number", "7;\n8"}, {"text", "A"}},
         "info a?b?_client call sms_send: \"7;?8\" done ok"},
        {"at_send",
         {{"cmd", "AT+X\rY"}},
         "err op->error: a?b?_client call at_send: AT+X?Y: didn't get answer"},
        {"reinit", {}, "info error->init: a?b?_client call reinit: done ok"},
    };
    for (const auto &row : rows) {
        bus_arguments arguments = row.arguments;
        arguments.emplace_back("client", "a\nb\x7F");
        (void)router.call(row.method, arguments);
        EXPECT_TRUE(router.logs(row.line)) << row.method;
    }
}

TEST(sending, throughAnUnpluggedPortEndsInError)
{
    const struct {
        std::string method;
        bus_arguments arguments;
        std::string failure;
    } rows[] = {
        {"sms_send", {{"number", "1;2"}, {"text", "A"}}, "modem_sendsmsinpdu() done error"},
        {"ussd_send", {{"cmd", "3"}}, "AT+CUSD=1,\"3\",15: didn't get answer OK"},
    };
    running_router router({.interval = "500"});
    for (const auto &[method, arguments, failure] : rows) {
        const router_mark since = router.mark();
        std::string result = "error: info.kelvantorium.state: error";
        // Again if a pass was the first to notice.
        for (int attempts = 5; attempts > 0 && result.ends_with(".state: error"); attempts--) {
            arrange(router, {{"replug"}});
            router.renew();
            EXPECT_TRUE(wait_until([&] { return router.commands().back() == "AT+CMGR=2"; }));
            arrange(router, {{"unplug"}});
            result = ask(router, method, arguments);
        }
        EXPECT_EQ(result, "error: " + failure);
        expect_transition(router, since, "op", "error", "no_answer",
                          caller + method + ": " + failure);
    }
}

TEST(raw, answerIsPassedOnWhateverItIs)
{
    running_router router;
    const std::string line(300, 'x');
    arrange(router, {fault("AT+LONG", "reply", 1, line + "\r\nOK\r\n")});
    const std::pair<const char *, std::string> rows[] = {
        {"AT+CGMM", "\r\nLTE-MODEM-1\r\n\r\nOK\r\n"},
        {"AT+NONSENSE", "\r\nERROR\r\n"},
        {"AT+LONG", line.substr(0, 255)},
    };
    for (const auto &[command, expected] : rows) {
        const bus_reply reply = router.call("at_send", {{"client", "test"}, {"cmd", command}});
        EXPECT_EQ(reply["result"], "ok") << command;
        EXPECT_EQ(reply["answer"], expected) << command;
    }
    EXPECT_EQ(router.status(statepath), "op");
}

TEST(raw, silenceIsAnErrorAndOnlyInitialisationRefuses)
{
    running_router router;
    const auto at = [&](const std::string &command) {
        return ask(router, "at_send", {{"cmd", command}});
    };
    const std::string longest = "AT+" + std::string(77, 'X');
    const auto expect_error = [&](const std::string &former) {
        const router_mark since = router.mark();
        const std::string failure = longest + ": didn't get answer";
        arrange(router, {fault(longest, "silence", 1)});
        EXPECT_EQ(at(longest + "X"), "error: " + failure);
        expect_transition(router, since, former, "error", "no_answer",
                          caller + "at_send: " + failure);
    };
    expect_error("op");
    EXPECT_TRUE(router.isidle());
    EXPECT_EQ(at("AT"), "ok") << "in error";
    expect_error("error");

    arrange(router, {{"adc", {{"value", 0}}}, held("AT+CGMM")});
    const router_mark since = router.mark();
    EXPECT_EQ(ask(router, "reinit"), "ok");
    EXPECT_TRUE(router.receives("AT+CGMM", since));
    EXPECT_EQ(at("AT+DURINGINIT"), "error: info.kelvantorium.state: init");
    arrange(router, {saying("\r\nM\r\n\r\nOK\r\n")});
    EXPECT_TRUE(router.becomes(statepath, "nosim"));
    EXPECT_EQ(std::ranges::count(router.commands(), "AT+DURINGINIT"), 0);
    EXPECT_EQ(at("AT"), "ok") << "without a card";
    expect_error("nosim");
}

}  // namespace
