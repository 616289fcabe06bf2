// SPDX-License-Identifier: ISC
// What only a failing call shows: every line, roll-back and exit status of those paths.
#include <algorithm>
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
    const struct {
        failing_call call;
        std::string line;
        bool broker = true;
    } rows[] = {
        {{"calloc", ENOMEM, record}, "calloc() done error"},
        {{"timerfd_create", EMFILE}, "timerfd_create(fdtimerat) done error=" + nofiles},
        {{"timerfd_create", EMFILE, "", 2}, "timerfd_create(fdtimerat2) done error=" + nofiles},
        {{"", 0}, "ubus_connect() done error", false},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.call.name + " " + row.call.text);
        const call_watch watch;
        virtual_router router({.broker = row.broker, .start = false});
        watch.fail(row.call);
        router.parts.launch(router_part::daemon);
        EXPECT_EQ(process_endtext(router.waitdaemon()), "exit status 255");
        ASSERT_TRUE(router.logs("err main: done error"));
        EXPECT_EQ(router.log(),
                  (texts{"info main: start", "info modem start", "emerg modem: " + row.line,
                         "err main: modem() done error", "err main: done error"}));
    }
}

// Stops the daemon, whose worker has ended or hears nothing.
void expect_stop(virtual_router &router, const std::string &error)
{
    EXPECT_EQ(process_endtext(router.stopdaemon()), "exit status 0");
    const texts end = {"info modemfree start",
                       "err modemfree: write(modemcmdStop) done error=" + error,
                       "info modem done ok", "info main: done ok"};
    ASSERT_TRUE(router.logs(end.back()));
    texts log = router.log();
    std::erase(log, "info modem_task: done ok");  // at whatever time
    ASSERT_GE(log.size(), end.size());
    EXPECT_EQ(texts(log.end() - std::ssize(end), log.end()), end);
}

TEST(failing, workerThatCannotBeginLeavesInit)
{
    const std::pair<failing_call, std::string> rows[] = {
        {{"pipe", EMFILE}, "emerg modem_task: pipe(fdcmd) done error = " + nofiles},
        {{"pthread_create", EAGAIN},
         "emerg modem: pthread_create() done error=Resource temporarily unavailable"},
    };
    for (const auto &[call, line] : rows) {
        SCOPED_TRACE(call.name);
        const call_watch watch;
        virtual_router router({.start = false});
        watch.fail(call);
        ASSERT_TRUE(router.startdaemon());
        EXPECT_TRUE(router.logs(line));
        EXPECT_EQ(ask(router, "reinit"), "error: info.kelvantorium.state: init");
        EXPECT_EQ(router.status("info.kelvantorium.reason"), "none");
        expect_stop(router, gone);
    }
}

TEST(failing, workerEndsOrGoesOnAsTheCallSays)
{
    const std::string ended = "info modem_task: done ok";
    const struct {
        failing_call call;
        texts lines;
        bool goeson = false, initialises = true;
    } rows[] = {
        {{"poll", EINTR, "worker pipe:"},
         {"warning modem_task: poll() done error=Interrupted system call"},
         true},
        {{"read", 0, "worker pipe:"},
         {"warning modem_task: read(pmod->fdcmd) nbytes(0) != 4"},
         true},
        {{"poll", EIO, "worker pipe:"}, {"emerg modem_task: poll() done error=" + io, ended}},
        {{"poll", 0, "worker pipe:"}, {ended}},  // a hang-up
        {{"read", EIO, "worker pipe:"},
         {"emerg modem_task: read(pmod->fdcmd) done error=" + io, ended},
         false,
         false},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.call.name + " " + row.call.text);
        const call_watch watch;
        running_router router;
        const router_mark since = router.mark();
        watch.fail(row.call);
        EXPECT_EQ(ask(router, "reinit"), "ok");
        for (const std::string &line : row.lines)
            EXPECT_TRUE(router.logs(line, since));
        if (!row.initialises) {
            EXPECT_EQ(ask(router, "reinit"), "error: info.kelvantorium.state: init");
        } else {
            EXPECT_TRUE(router.becomes(statepath, "op"));
            EXPECT_EQ(ask(router, "reinit"),
                      row.goeson ? "ok" : "error: write(modemcmdInit) done error");
        }
        if (row.goeson) {
            EXPECT_TRUE(router.becomes("info.kelvantorium.reinit_counter", "2"));
            EXPECT_EQ(process_endtext(router.stopdaemon()), "exit status 0");
        } else {
            expect_stop(router, gone);
        }
    }
}

TEST(failing, handOverThatFailsIsTakenBack)
{
    const struct {
        std::string method;
        bus_arguments arguments;
        failing_call call;
        std::string named, detail = ": " + io;
    } rows[] = {
        {"reinit", {}, {"write", EIO, "loop pipe:"}, "write(modemcmdInit)"},
        {"set", {{"modem_slot", "1"}}, {"write", EIO, "loop pipe:"}, "write(modemcmdInit)"},
        {"set",
         {{"modem_slot", "1"}},
         {"calloc", ENOMEM, "loop" + context},
         "uci_alloc_context()",
         ""},
        {"ussd_send", {{"cmd", "1"}}, {"write", EIO, "loop pipe:"}, "write(modemcmdUssdAnswer)"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.method + " " + row.call.name);
        const call_watch watch;
        running_router router;
        const router_mark since = router.mark();
        watch.fail(row.call);
        EXPECT_EQ(ask(router, row.method, row.arguments), "error: " + row.named + " done error");
        const std::string reason = caller + row.method + ": " + row.named + " done error";
        EXPECT_TRUE(router.logs("emerg op->error: " + reason + row.detail, since));
        EXPECT_TRUE(router.isidle());
        const bus_reply report = router.call("get");
        EXPECT_EQ(report["info.kelvantorium.prevstate"], "op");
        EXPECT_EQ(report[statepath], "error");
        EXPECT_EQ(report[errorpath], "fatal");
        EXPECT_EQ(report["info.kelvantorium.reason"], reason);
        EXPECT_EQ(report["info.ussd.state"], "stopped");
        EXPECT_EQ(report["info.network.state"], "connected");
        EXPECT_EQ(process_endtext(router.stopdaemon()), "exit status 0") << "awaits nothing";
    }
    const call_watch watch;
    running_router router;
    watch.fail({"write", EIO, "loop pipe:", 2});  // the signal's own one is the first
    expect_stop(router, io);
}

}  // namespace
