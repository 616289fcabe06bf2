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
    };
    running_router router;
    const std::string code(31, '1');
    const router_mark since = router.mark();
    for (const auto &[line, expected] : rows) {
        SCOPED_TRACE(line);
        arrange(router, {saying("+CUSD: 4\r\n", "second")});  // too early
        EXPECT_EQ(send(router, code + "23456789#\r"), "ok") << "what is beyond the cap is cut";
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

TEST(sending, controlCharactersStayOutOfLogLines)
{
    running_router router;
    arrange(router, {fault("AT+X", "silence", 1)});
    const std::string client = "a\nb\x7F";
    (void)router.call("sms_send", {{"client", client}, {"number", "7;\n8"}, {"text", "A"}});
    EXPECT_TRUE(router.logs("info a?b?_client call sms_send: \"7;?8\" done ok"));
    (void)router.call("at_send", {{"client", client}, {"cmd", "AT+X\rY"}});
    EXPECT_TRUE(router.logs("err op->error: a?b?_client call at_send: AT+X?Y: didn't get answer"));
}

// The answer to a raw command, or what is said instead.
std::string raw(virtual_router &router, const std::string &command)
{
    const bus_reply reply = router.call("at_send", {{"client", "test"}, {"cmd", command}});
    return reply["result"] == "ok" ? reply["answer"] : reply["result"];
}

TEST(raw, answerIsPassedOnWhateverItIsInAnyStateButInit)
{
    running_router router;
    const std::string line(300, 'x');
    arrange(router, {fault("AT+LONG", "reply", 1, line + "\r\nOK\r\n")});
    EXPECT_EQ(raw(router, "AT+NONSENSE"), "\r\nERROR\r\n");
    EXPECT_EQ(raw(router, "AT+LONG"), line.substr(0, 255));
    EXPECT_EQ(router.status(statepath), "op");

    const std::string longest = "AT+" + std::string(77, 'X');
    const auto expect_silent = [&](const std::string &states) {
        const router_mark since = router.mark();
        const std::string failure = longest + ": didn't get answer";
        arrange(router, {fault(longest, "silence", 1)});
        EXPECT_EQ(ask(router, "at_send", {{"cmd", longest + "X"}}), "error: " + failure);
        expect_transition(router, since, states, "no_answer", caller + "at_send: " + failure);
        EXPECT_TRUE(router.isidle());
        EXPECT_EQ(raw(router, "AT"), "\r\nOK\r\n") << "in error";
    };
    expect_silent("op->error");
    arrange(router, {{"adc", {{"value", 0}}}, held("AT+CGMM")});
    const router_mark since = router.mark();
    EXPECT_EQ(ask(router, "reinit"), "ok");
    EXPECT_TRUE(router.receives("AT+CGMM", since));
    EXPECT_EQ(raw(router, "AT+DURINGINIT"), "error: info.kelvantorium.state: init");
    arrange(router, {saying("\r\nM\r\n\r\nOK\r\n")});
    EXPECT_TRUE(router.becomes(statepath, "nosim"));
    EXPECT_EQ(std::ranges::count(router.commands(), "AT+DURINGINIT"), 0);
    expect_silent("nosim->error");
}

}  // namespace
