// SPDX-License-Identifier: ISC
// What only a failing call shows: every line, roll-back and exit status of those paths.
#include <cerrno>

#include <gtest/gtest.h>
#include <uci.h>

#include "core/record/state.h"
#include "tests/router/running.h"

namespace
{

using texts = std::vector<std::string>;

const std::string io = "Input/output error";
const std::string gone = "Bad file descriptor";
const std::string nofiles = "Too many open files";
const std::string context = " " + std::to_string(sizeof(uci_context)) + " ";

TEST(failing, startEndsWithItsLineAndStatus)
{
    const std::string record = " " + std::to_string(sizeof(modem_state)) + " ";
    const std::pair<failing_call, std::string> rows[] = {
        {{"calloc", ENOMEM, record}, "calloc() done error"},
        {{"timerfd_create", EMFILE}, "timerfd_create(fdtimerat) done error=" + nofiles},
        {{"timerfd_create", EMFILE, "", 2}, "timerfd_create(fdtimerat2) done error=" + nofiles},
        {{"", 0}, "ubus_connect() done error"},  // without a broker
    };
    for (const auto &[call, line] : rows) {
        SCOPED_TRACE(line);
        virtual_router router({.prefix = watching(), .broker = !call.name.empty(), .start = false});
        fail(call);
        router.parts.launch(router_part::daemon);
        EXPECT_EQ(process_endtext(router.waitdaemon()), "exit status 255");
        ASSERT_TRUE(router.logs("err main: done error"));
        EXPECT_EQ(router.log(),
                  (texts{"info main: start", "info modem start", "emerg modem: " + line,
                         "err main: modem() done error", "err main: done error"}));
    }
}

// Stops the daemon, whose worker has ended or hears nothing.
void expect_stop(virtual_router &router, const std::string &error)
{
    expect_end(router, router.stopdaemon(),
               {"info modemfree start", "err modemfree: write(modemcmdStop) done error=" + error,
                "info modem done ok", "info main: done ok"});
}

TEST(failing, workerThatCannotBeginLeavesInit)
{
    const std::pair<failing_call, std::string> rows[] = {
        {{"pipe", EMFILE}, "emerg modem_task: pipe(fdcmd) done error = " + nofiles},
        {{"pthread_create", EAGAIN},
         "emerg modem: pthread_create() done error=Resource temporarily unavailable"},
    };
    for (const auto &[call, line] : rows) {
        SCOPED_TRACE(line);
        virtual_router router({.prefix = watching(), .start = false});
        fail(call);
        ASSERT_TRUE(router.startdaemon());
        EXPECT_TRUE(router.logs(line));
        EXPECT_EQ(ask(router, "reinit"), "error: info.kelvantorium.state: init");
        EXPECT_EQ(router.status("info.kelvantorium.reason"), "none");
        expect_stop(router, gone);
    }
}

TEST(failing, workerEndsOrGoesOnAsTheCallSays)
{
    const struct {
        failing_call call;
        std::string line;
        bool goeson = false;
    } rows[] = {
        {{"poll", EINTR, "worker pipe:"},
         "warning modem_task: poll() done error=Interrupted system call",
         true},
        {{"read", 0, "worker pipe:"}, "warning modem_task: read(pmod->fdcmd) nbytes(0) != 4", true},
        {{"poll", EIO, "worker pipe:"}, "emerg modem_task: poll() done error=" + io},
        {{"poll", 0, "worker pipe:"}, "info modem_task: done ok"},  // a hang-up
        {{"read", EIO, "worker pipe:"}, "emerg modem_task: read(pmod->fdcmd) done error=" + io},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.line);
        running_router router({.prefix = watching()});
        const router_mark since = router.mark();
        fail(row.call);
        EXPECT_EQ(ask(router, "reinit"), "ok");
        EXPECT_TRUE(router.logs(row.line, since));
        if (!row.goeson) {
            expect_stop(router, gone);
            continue;
        }
        EXPECT_TRUE(router.becomes(statepath, "op"));
        EXPECT_EQ(ask(router, "reinit"), "ok");
        EXPECT_TRUE(router.becomes("info.kelvantorium.reinit_counter", "2"));
    }
}

TEST(failing, handOverThatFailsIsTakenBack)
{
    const bus_arguments slot = {{"modem_slot", "1"}};
    const struct {
        std::string method;
        bus_arguments arguments;
        failing_call call;
        std::string named, detail = ": " + io;
    } rows[] = {
        {"reinit", {}, {"write", EIO, "loop pipe:"}, "write(modemcmdInit)"},
        {"set", slot, {"write", EIO, "loop pipe:"}, "write(modemcmdInit)"},
        {"set", slot, {"calloc", ENOMEM, "loop" + context}, "uci_alloc_context()", ""},
        {"ussd_send", {{"cmd", "1"}}, {"write", EIO, "loop pipe:"}, "write(modemcmdUssdAnswer)"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.method + " " + row.call.name);
        running_router router({.prefix = watching()});
        const router_mark since = router.mark();
        fail(row.call);
        EXPECT_EQ(ask(router, row.method, row.arguments), "error: " + row.named + " done error");
        expect_transition(router, since, "op->error", "fatal",
                          caller + row.method + ": " + row.named + " done error", row.detail);
        EXPECT_TRUE(router.isidle());
        EXPECT_EQ(router.status("info.ussd.state"), "stopped");
        EXPECT_EQ(router.status("info.network.state"), "connected");
        EXPECT_EQ(process_endtext(router.stopdaemon()), "exit status 0") << "awaits nothing";
    }
    running_router router({.prefix = watching()});
    fail({"write", EIO, "loop pipe:", 2});  // the signal's own one is the first
    expect_stop(router, io);
}

TEST(port, initialisationRecordsPortsAndSilenceAndKeepsDescriptors)
{
    const std::string connect = "modem_comport_connect() done error";
    const std::string set = "err modem_comport_connect: tcsetattr() done error: " + io;
    const std::string busy =
        "err modem_comport_connect: open() done error: Device or resource busy";
    const std::string unsent = "err modem_sendat: write done error=" + io;
    const std::string silent = ": didn't get answer OK";
    const struct {
        failing_call call;
        std::string line, reason;
        int closed = 0;  // ports that are not open then
    } rows[] = {
        // clang-format off
        {{"tcsetattr", EIO}, set, connect, 2},
        {{"tcsetattr", EIO, "", 2}, set, connect, 2},
        {{"open", EBUSY, "if04-port0"}, busy, connect, 2},
        {{"open", EBUSY, "if05-port0"}, busy, connect, 1},
        {{"write", EIO, "AT+CGMM"}, unsent, "get info.modem.model: AT+CGMM" + silent},
        {{"write", EIO, "AT+CGSETV=25,0"}, unsent,
         "set led [unavailable] info.modem.gnns.state: AT+CGSETV=25,0" + silent},
        {{"write", EIO, "AT+CGNSSMODE"}, unsent,
         "set 3 settings.modem.gnss.mode: AT+CGNSSMODE=3" + silent},
        {{"write", EIO, "AT+CADC"}, unsent, "get info.modem.slot[1..2]_state: AT+CADC=2" + silent},
        {{"calloc", ENOMEM, "worker" + context},
         "err modem_read_settings: uci_alloc_context() done error", "init done ok"},
        // clang-format on
    };
    running_router router({.prefix = watching()});
    const long descriptors = router.steadyusage().descriptors;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.call.name + " " + row.call.text);
        const router_mark since = router.mark();
        fail(row.call);
        EXPECT_EQ(ask(router, "reinit"), "ok");
        const bool ends = row.reason != "init done ok";
        expect_transition(router, since, ends ? "init->error" : "init->op",
                          ends ? "no_answer" : "none", row.reason);
        EXPECT_TRUE(router.logs(row.line, since));
        EXPECT_EQ(router.steadyusage().descriptors, descriptors - row.closed);
        router.renew();
    }
}

TEST(port, methodsFailAsTheirExchangesDo)
{
    const std::string command(80, 'A');
    const std::string port = "loop /dev/pts/";
    const bus_arguments raw = {{"cmd", command + "BCD"}};
    const std::string unheard = command + ": didn't get answer";
    const struct {
        std::string method;
        bus_arguments arguments;
        failing_call call;
        std::string failure, line;
    } rows[] = {
        // clang-format off
        {"at_send", raw, {"write", EIO, port}, unheard, "modem_sendat: write done error=" + io},
        {"at_send", raw, {"poll", EIO, port}, unheard, "modem_sendat: poll() done error=" + io},
        {"at_send", raw, {"read", EIO, port}, unheard, "modem_sendat: read() done error=" + io},
        {"at_send", raw, {"poll", EINTR, port}, "", ""},
        {"at_send", raw, {"read", EINTR, port}, "", ""},
        {"at_send", raw, {"read", EAGAIN, port}, "", ""},
        {"sms_send", {{"number", "1;2"}, {"text", "A"}}, {"write", EIO, "AT+CMGS"},
         "modem_sendsmsinpdu() done error", "modem_sendat: write done error=" + io},
        {"ussd_send", {{"cmd", "3"}}, {"write", EIO, "AT+CUSD"},
         "AT+CUSD=1,\"3\",15: didn't get answer OK", "modem_sendat: write done error=" + io},
        // clang-format on
    };
    running_router router({.prefix = watching()});
    arrange(router, {fault("AT+CADC", "error"), fault(command, "reply", 0, "\r\nOK\r\n")});
    EXPECT_TRUE(router.becomes(statepath, "error"));  // nothing polls now
    for (const auto &row : rows) {
        SCOPED_TRACE(row.method + " " + row.call.name);
        const bool israw = row.method == "at_send";
        if (!israw) router.renew();
        const router_mark since = router.mark();
        fail(row.call);
        const std::string result = ask(router, row.method, row.arguments);
        EXPECT_FALSE(isfailing());
        if (row.failure.empty()) {
            EXPECT_EQ(result, "ok");
            EXPECT_EQ(router.log(since), texts());
            continue;
        }
        EXPECT_EQ(result, "error: " + row.failure);
        EXPECT_TRUE(router.logs("err " + row.line, since));
        expect_transition(router, since, israw ? "error->error" : "op->error", "no_answer",
                          caller + row.method + ": " + row.failure);
    }
    router.renew();
    for (const std::string call : {"poll", "read"}) {
        fail({call, EIO, "worker /dev/pts/"});
        EXPECT_EQ(ask(router, "ussd_send", {{"cmd", "1"}}), "ok");
        arrange(router, {saying("\r\n+CUSD: 4\r\n", "second")});
        EXPECT_TRUE(router.logs("err modem_getussdanswer: " + call + "() done error " + io));
        EXPECT_TRUE(router.becomes("info.ussd.state", "stopped"));
        EXPECT_EQ(router.status("info.ussd.answer"), "none");
    }
}

}  // namespace
