// SPDX-License-Identifier: ISC
// The event loop: order of timers and descriptors, signals.
#include <csignal>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <libubus.h>

namespace
{

std::string trace;
int signo;

struct loop : testing::Test {
    int pair[2];
    uloop_fd sock{};

    void SetUp() override
    {
        std::signal(SIGINT, SIG_DFL);  // ignored from the start it would stay so
        ASSERT_EQ(uloop_init(), 0);
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
        trace.clear();
        sock.fd = pair[0];
        sock.cb = [](uloop_fd *, unsigned events) { trace += std::to_string(events); };
    }
    void TearDown() override
    {
        uloop_done();
        close(pair[0]);
        close(pair[1]);
    }
};

void on_end(uloop_timeout *)
{
    trace += 'e';
    uloop_end();
}

TEST_F(loop, timersFireByDeadlineAndEqualOnesInTheOrderOfSetting)
{
    uloop_timeout first{}, second{}, later{}, end{}, dropped{};
    first.cb = [](uloop_timeout *) { trace += '1'; };
    second.cb = [](uloop_timeout *) { trace += '2'; };
    later.cb = [](uloop_timeout *timer) { trace += timer->pending ? 'p' : '3'; };
    end.cb = on_end;
    uloop_timeout_set(&end, 60);
    uloop_timeout_set(&later, 20);
    uloop_timeout_set(&dropped, 0);
    EXPECT_EQ(uloop_timeout_cancel(&dropped), 0);
    EXPECT_EQ(uloop_timeout_cancel(&dropped), -1);
    for (uloop_timeout *timer : {&second, &first, &second}) {  // both at instant 0
        uloop_timeout_cancel(timer);
        EXPECT_EQ(uloop_timeout_add(timer), 0);
    }
    EXPECT_EQ(uloop_run(), 0);
    EXPECT_EQ(trace, "123e");
}

TEST_F(loop, dueTimersGoBeforeEachReadyDescriptor)
{
    static uloop_timeout timer;
    timer.cb = [](uloop_timeout *) { trace += 't'; };
    sock.cb = [](uloop_fd *u, unsigned events) {
        char octet;
        trace += std::to_string(events) + (read(u->fd, &octet, 1) == 1 ? "r" : "-");
        uloop_timeout_set(&timer, 0);
        if (trace.size() > 4) uloop_end();
    };
    ASSERT_EQ(write(pair[1], "ab", 2), 2);
    ASSERT_EQ(uloop_fd_add(&sock, ULOOP_READ), 0);
    uloop_timeout_set(&timer, 0);
    EXPECT_EQ(uloop_run(), 0);
    EXPECT_EQ(trace, "t1rt1r");
}

TEST_F(loop, hangUpRemovesTheDescriptorAndHalfCloseDoesNot)
{
    uloop_fd_add(&sock, ULOOP_READ);
    shutdown(pair[1], SHUT_WR);
    uloop_run_timeout(1000);
    EXPECT_TRUE(sock.eof && !sock.error && sock.registered);
    uloop_fd_add(&sock, ULOOP_READ | ULOOP_ERROR_CB);
    EXPECT_FALSE(sock.eof);
    shutdown(pair[0], SHUT_WR);
    uloop_run_timeout(1000);
    EXPECT_TRUE(sock.eof && sock.error && sock.registered);
    uloop_fd_add(&sock, ULOOP_READ);
    uloop_run_timeout(1000);
    EXPECT_TRUE(sock.error && !sock.registered);
    EXPECT_EQ(trace, "111");
}

TEST_F(loop, stopSignalsEndItEarlyOnesAreSwallowedAndLateOnesKillAgain)
{
    uloop_timeout timer{};
    for (const int number : {SIGTERM, SIGINT}) {
        signo = number;
        raise(signo);  // before the run: lost
        timer.cb = on_end;
        uloop_timeout_set(&timer, 0);
        EXPECT_EQ(uloop_run(), 0);
        timer.cb = [](uloop_timeout *) { raise(signo); };
        uloop_timeout_set(&timer, 1);
        EXPECT_EQ(uloop_run(), signo);
    }
    EXPECT_EQ(trace, "ee");
    uloop_done();
    struct sigaction action;
    for (const int number : {SIGTERM, SIGINT, SIGPIPE}) {
        sigaction(number, nullptr, &action);
        EXPECT_EQ(action.sa_handler, number == SIGPIPE ? SIG_IGN : SIG_DFL) << number;
    }
}

}  // namespace
