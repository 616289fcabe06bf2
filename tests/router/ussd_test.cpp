// USSD requests with their answers on the second port, raw AT commands, and what refuses both or
// fails them.
#include <gtest/gtest.h>

#include "tests/router/running.h"

namespace
{

constexpr char statepath[] = "info.kelvantorium.state";

void addfault(virtual_router &router, const char *command, const char *kind, std::string text = "")
{
    router.modem("fault", {{"command", command}, {"kind", kind}, {"text", text}, {"times", 1}});
}

std::string send(virtual_router &router, const std::string &code)
{
    return router.call("ussd_send", {{"client", "test"}, {"cmd", code}})["result"];
}

// The end of a request that the network answers, in two pieces, with `line`; its published answer.
std::string answer(virtual_router &router, const std::string &line = "")
{
    const std::string text = "\r\n" + line + "\r\n";
    for (const std::string &piece : {text.substr(0, 9), text.size() > 9 ? text.substr(9) : ""})
        if (!line.empty()) router.modem("unsolicited", {{"port", "second"}, {"text", piece}});
    EXPECT_TRUE(router.becomes("info.ussd.state", "stopped"));
    return router.status("info.ussd.answer");
}

TEST(ussd, requestRunsUntilItsAnswerIsPublished)
{
    std::string longest;
    for (int i = 0; i < 120; i++)
        longest += "0041";
    const std::pair<std::string, std::string> rows[] = {
        {"+CUSD: 0,\"041F04400438043204350442\",72", "\xCF\xF0\xE8\xE2\xE5\xF2"},
        {"+CUSD: 1,\"041F04400438043204350442\",17", "\xCF\xF0\xE8\xE2\xE5\xF2"},
        {"+CUSD: 0,\"" + longest + "\",72", std::string(80, 'A')},
        {"+CUSD: 2,72", "none"},
        {"+CUSD: 4", "operation not supported"},
        {"+CUSD: 5", "network time out"},
        {"+CME ERROR: -12", "cmd not supported"},
        {"+CME ERROR: 30", "none"},
    };
    running_router router;
    const std::string code(31, '1');
    const router_mark since = router.mark();
    for (const auto &[line, expected] : rows) {
        SCOPED_TRACE(line);
        router.modem("unsolicited", {{"port", "second"}, {"text", "+CUSD: 4\r\n"}});  // too early
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
    EXPECT_TRUE(router.logs("info test_client call ussd_send: " + command + ": done ok"));
    EXPECT_EQ(router.status(statepath), "op");
}

TEST(ussd, refusedAndSilentRequestsLeaveTheNextOneFree)
{
    running_router router({.timeout = "1500"});
    for (const char *kind : {"error", "silence"}) {
        addfault(router, "AT+CUSD", kind);
        EXPECT_EQ(send(router, "1"), "error: got answer ERROR") << kind;
        EXPECT_EQ(router.status("info.ussd.state"), "stopped") << kind;
    }
    EXPECT_EQ(send(router, "2"), "ok");
    EXPECT_EQ(answer(router), "response timeout expired");
    EXPECT_EQ(router.status(statepath), "op");

    EXPECT_EQ(send(router, "3"), "ok");
    router.modem("unplug");
    EXPECT_TRUE(router.becomes(statepath, "error"));
    router.modem("replug");
    router.renew();
    EXPECT_EQ(answer(router), "none");
    EXPECT_EQ(send(router, "4"), "ok");
    EXPECT_EQ(answer(router, "+CUSD: 5"), "network time out");
}

TEST(sending, isRefusedInOrder)
{
    running_router router;
    const auto expect = [&](const char *method, const bus_arguments &arguments,
                            const char *result) {
        EXPECT_EQ(router.call(method, arguments)["result"], result);
    };
    const bus_arguments sms = {{"client", ""}, {"number", ""}, {"text", ""}};
    const bus_arguments ussd = {{"client", ""}, {"cmd", ""}};
    expect("sms_send", {{"client", ""}, {"text", ""}}, "error: msg has no number");
    expect("sms_send", {{"client", ""}, {"number", ""}}, "error: msg has no text");
    expect("sms_send", sms, "error: text is empty");
    expect("sms_send", {{"client", ""}, {"number", ""}, {"text", "A"}}, "error: number is empty");
    expect("sms_send", {{"client", ""}, {"number", "1"}, {"text", "A"}}, "error: client is empty");
    expect("at_send", ussd, "error: cmd is empty");
    expect("ussd_send", {{"client", ""}}, "error: msg has no cmd");
    expect("ussd_send", ussd, "error: cmd is empty");
    expect("ussd_send", {{"client", ""}, {"cmd", "1"}}, "error: client is empty");
    EXPECT_EQ(send(router, "1"), "ok");
    expect("ussd_send", ussd, "error: info.ussd.state: running");
    router.modem("radio", {{"registered", false}});
    ASSERT_TRUE(router.becomes("info.network.state", "disconnected"));
    expect("sms_send", sms, "error: info.network.state: disconnected");
    expect("ussd_send", ussd, "error: info.network.state: disconnected");
    router.modem("adc", {{"value", 0}});
    ASSERT_TRUE(router.becomes(statepath, "error"));
    expect("sms_send", sms, "error: info.kelvantorium.state: error");
    expect("ussd_send", ussd, "error: info.kelvantorium.state: error");
}

TEST(sending, throughAnUnpluggedPortEndsInError)
{
    const struct {
        const char *method;
        bus_arguments arguments;
        const char *failure;
    } rows[] = {
        {"sms_send",
         {{"client", "test"}, {"number", "1;2"}, {"text", "A"}},
         "modem_sendsmsinpdu() done error"},
        {"ussd_send",
         {{"client", "test"}, {"cmd", "3"}},
         "AT+CUSD=1,\"3\",15: didn't get answer OK"},
    };
    running_router router({.timeout = "1500", .interval = "500"});
    for (const auto &row : rows) {
        const router_mark since = router.mark();
        EXPECT_EQ(router.callunplugged(row.method, row.arguments),
                  std::string("error: ") + row.failure);
        expect_transition(router, since, "op", "error", "no_answer",
                          std::string("test_client call ") + row.method + ": " + row.failure);
    }
}

TEST(raw, answerIsPassedOnWhateverItIs)
{
    running_router router;
    const std::string line(300, 'x');
    addfault(router, "AT+LONG", "reply", line + "\r\nOK\r\n");
    addfault(router, "AT+LINE", "reply", "\r\n+CME ERROR: 3\r\n");
    const std::pair<const char *, std::string> rows[] = {
        {"AT+CGMM", "\r\nLTE-MODEM-1\r\n\r\nOK\r\n"},
        {"AT+NONSENSE", "\r\nERROR\r\n"},
        {"AT+LINE", "\r\n+CME ERROR: 3\r\n"},
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
    running_router router({.timeout = "1500"});
    const auto at = [&](const char *command) {
        return router.call("at_send", {{"client", "test"}, {"cmd", command}})["result"];
    };
    const auto expect_silence = [&](const std::string &former) {
        const router_mark since = router.mark();
        addfault(router, "AT+X", "silence");
        EXPECT_EQ(at("AT+X"), "error: AT+X: didn't get answer");
        expect_transition(router, since, former, "error", "no_answer",
                          "test_client call at_send: AT+X: didn't get answer");
    };
    expect_silence("op");
    EXPECT_TRUE(router.isidle());
    EXPECT_EQ(at("AT"), "ok") << "in error";
    expect_silence("error");

    router.modem("adc", {{"value", 0}});
    const router_mark since = router.mark();
    router.modem("fault", {{"command", "AT"}, {"kind", "late"}, {"delay", 1000}, {"times", 3}});
    EXPECT_EQ(router.call("reinit", {{"client", "test"}})["result"], "ok");
    EXPECT_EQ(at("AT+DURINGINIT"), "error: info.kelvantorium.state: init");
    EXPECT_TRUE(router.becomes(statepath, "nosim"));
    for (const std::string &command : router.commands(since))
        EXPECT_NE(command, "AT+DURINGINIT");
    EXPECT_EQ(at("AT"), "ok") << "without a card";
    expect_silence("nosim");
}

}  // namespace
