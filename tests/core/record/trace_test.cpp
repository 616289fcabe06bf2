// SPDX-License-Identifier: ISC
// Traces: what they cost those who do not read them.
#include "core/record/trace.h"

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/sms/traces.h"

namespace
{

// Runs `action` in a child whose standard output is a pipe of one page; the pipe's read end is
// open as long as `isread`. The wait status.
template <typename action>
int runonpipe(bool isread, action &&run)
{
    std::fflush(stdout);  // a sanitizer's _exit would write it once more
    const pid_t child = fork();
    if (child == 0) {
        int ends[2];
        if (pipe(ends) != 0 || fcntl(ends[1], F_SETPIPE_SZ, 4096) < 0) _exit(99);
        if (!isread) close(ends[0]);
        dup2(ends[1], STDOUT_FILENO);
        (void)signal(SIGPIPE, SIG_DFL);
        run(ends[0]);
        _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

TEST(trace, standardOutputWithoutAReaderIsNotWrittenTo)
{
    EXPECT_EQ(runonpipe(false, [](int) { modem_trace("lost\n"); }), 0);
}

// Both threads may have seen the same room: the second write must not block either.
TEST(trace, twoOfTheLongestFitTheRoomThatAPipeReports)
{
    const auto twice = [](int reader) {
        modem_trace("%s", std::string(5000, 'x').c_str());
        char text[5000];
        const ssize_t length = read(reader, text, sizeof(text));
        modem_trace("%s", std::string(5000, 'x').c_str());
        (void)fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
        if (length < 2000 || write(STDOUT_FILENO, text, static_cast<std::size_t>(length)) != length)
            _exit(1);
    };
    EXPECT_EQ(runonpipe(true, twice), 0);
}

TEST(trace, isNotEvenFormattedWhileOff)
{
    EXPECT_EQ(tracesof([] {
                  modem_trace("%d %s\n", 1, "on");
                  modem_settracing(false);
                  // NOLINTNEXTLINE(performance-no-int-to-ptr): a text that cannot be read.
                  modem_trace("%s", reinterpret_cast<const char *>(1));
                  modem_tracehex("off: ", {});
                  modem_settracing(true);
                  const std::uint8_t octets[] = {0x0D, 0xA0};
                  modem_tracehex("on: ", octets);
              }),
              "1 on\non: 0D A0 \n");
}

}  // namespace
