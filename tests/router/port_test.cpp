// SPDX-License-Identifier: ISC
// The modem's ports when a call to them fails: what is logged, recorded and given back.
#include <cerrno>

#include <gtest/gtest.h>
#include <uci.h>

#include "tests/router/running.h"

namespace
{

const std::string io = "Input/output error";
const std::string context = " " + std::to_string(sizeof(uci_context)) + " ";

TEST(port, initialisationRecordsPortsAndSilenceAndKeepsDescriptors)
{
    const std::string connect = "modem_comport_connect() done error";
    const std::string set = "err modem_comport_connect: tcsetattr() done error: " + io;
    const auto lost = [](const char *command) { return failing_call{"write", EIO, command}; };
    const std::string unsent = "err modem_sendat: write done error=" + io;
    const struct {
        failing_call call;
        std::string line, reason;
        int closed = 0;  // ports that are not open then
    } rows[] = {
        {{"tcsetattr", EIO}, set, connect, 2},
        {{"tcsetattr", EIO, "", 2}, set, connect, 2},
        {{"open", EBUSY, "if04-port0"},
         "err modem_comport_connect: open() done error: Device or resource busy",
         connect,
         2},
        {{"open", EBUSY, "if05-port0"},
         "err modem_comport_connect: open() done error: Device or resource busy",
         connect,
         1},
        {lost("AT+CGMM"), unsent, "get info.modem.model: AT+CGMM: didn't get answer OK"},
        {lost("AT+CGSETV=25,0"), unsent,
         "set led [unavailable] info.modem.gnns.state: AT+CGSETV=25,0: didn't get answer OK"},
        {lost("AT+CGNSSMODE"), unsent,
         "set 3 settings.modem.gnss.mode: AT+CGNSSMODE=3: didn't get answer OK"},
        {lost("AT+CADC"), unsent,
         "get info.modem.slot[1..2]_state: AT+CADC=2: didn't get answer OK"},
        {{"calloc", ENOMEM, "worker" + context},
         "err modem_read_settings: uci_alloc_context() done error",
         "init done ok"},
    };
    const call_watch watch;
    running_router router;
    const long descriptors = router.descriptors();
    for (const auto &row : rows) {
        SCOPED_TRACE(row.call.name + " " + row.call.text);
        const router_mark since = router.mark();
        watch.fail(row.call);
        EXPECT_EQ(ask(router, "reinit"), "ok");
        const bool ends = row.reason != "init done ok";
        expect_transition(router, since, "init", ends ? "error" : "op", ends ? "no_answer" : "none",
                          row.reason);
        EXPECT_TRUE(router.logs(row.line, since));
        EXPECT_EQ(router.descriptors(), descriptors - row.closed);
        router.renew();
    }
}

TEST(port, exchangeEndsOrGoesOnAsTheCallSays)
{
    const std::string command(80, 'A');
    const std::string refused = "error: " + command + ": didn't get answer";
    const std::string port = "loop /dev/pts/";
    const struct {
        failing_call call;
        std::string result, line;
    } rows[] = {
        {{"write", EIO, port}, refused, "err modem_sendat: write done error=" + io},
        {{"poll", EIO, port}, refused, "err modem_sendat: poll() done error=" + io},
        {{"read", EIO, port}, refused, "err modem_sendat: read() done error=" + io},
        {{"poll", EINTR, port}, "ok", ""},
        {{"read", EINTR, port}, "ok", ""},
        {{"read", EAGAIN, port}, "ok", ""},
    };
    const call_watch watch;
    running_router router;
    arrange(router, {fault("AT+CADC", "error"), fault(command.c_str(), "reply", 0, "\r\nOK\r\n")});
    EXPECT_TRUE(router.becomes(statepath, "error"));  // nothing polls now
    for (const auto &row : rows) {
        SCOPED_TRACE(row.call.name + " " + row.call.text);
        const router_mark since = router.mark();
        watch.fail(row.call);
        EXPECT_EQ(ask(router, "at_send", {{"cmd", command + "BCD"}}), row.result);
        EXPECT_FALSE(watch.isfailing());
        const std::vector<std::string> log = router.log(since);
        if (row.result == "ok") {
            EXPECT_EQ(log, std::vector<std::string>());
            continue;
        }
        EXPECT_TRUE(router.logs(row.line, since));
        expect_transition(router, since, "error", "error", "no_answer",
                          caller + "at_send: " + command + ": didn't get answer");
    }
}

TEST(port, passEndsWhereThePortIsLost)
{
    const std::pair<const char *, const char *> rows[] = {
        {"AT+CADC=2", "get info.modem.slot[1..2]_state"},
        {"AT+CGNSSINFO", "get info.gnss"},
        {"AT+COPS?", "get info.gnss"},
        {"AT+CPSI?", "get info.network.state"},
        {"AT+CPMS?", "get maxcntrecvsms"},
        {"AT+CMGR=2", "modem_readsms() done error"},
    };
    const call_watch watch;
    running_router router;
    for (const auto &[command, purpose] : rows) {
        SCOPED_TRACE(command);
        const router_mark since = router.mark();
        watch.fail({"write", EIO, command});
        std::string reason = purpose;
        if (!reason.ends_with("error"))
            reason += std::string(": ") + command + ": didn't get answer OK";
        expect_transition(router, since, "op", "error", "no_answer", reason);
        EXPECT_TRUE(router.isidle());
        router.renew();
    }
}

TEST(port, ussdReaderEndsOrGoesOnAsTheCallSays)
{
    const std::string line = "err modem_getussdanswer: ";
    const struct {
        failing_call call;
        std::string answer, line;
    } rows[] = {
        {{"poll", EIO, "worker /dev/pts/"}, "none", line + "poll() done error " + io},
        {{"read", EIO, "worker /dev/pts/"}, "none", line + "read() done error " + io},
        {{"poll", EINTR, "worker /dev/pts/"}, "operation not supported", ""},
        {{"read", EAGAIN, "worker /dev/pts/"}, "operation not supported", ""},
    };
    const call_watch watch;
    running_router router;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.call.name + " " + row.call.text);
        watch.fail(row.call);
        EXPECT_EQ(ask(router, "ussd_send", {{"cmd", "1"}}), "ok");
        arrange(router, {saying("\r\n+CUSD: 4\r\n", "second")});
        EXPECT_TRUE(router.becomes("info.ussd.state", "stopped"));
        EXPECT_EQ(router.status("info.ussd.answer"), row.answer);
        EXPECT_TRUE(row.line.empty() || router.logs(row.line));
        EXPECT_FALSE(watch.isfailing());
        EXPECT_EQ(router.status(statepath), "op");
    }
}

}  // namespace
