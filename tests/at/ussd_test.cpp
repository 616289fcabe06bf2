// The USSD answer reader: every kind of answer, in whatever pieces it comes.
#include "at/ussd.h"

#include <memory>
#include <string>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "core/state.h"
#include "core/text.h"

namespace
{

// A record whose second port receives what is laid down, one piece to a read.
class ussd : public testing::Test
{
protected:
    ussd()
    {
        (void)socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends_);
        state->fdcom2 = ends_[0];
        state->fdtimerat2 = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK);
        state->pollussd[0] = {state->fdcom2, POLLIN, 0};
        state->pollussd[1] = {state->fdtimerat2, POLLIN, 0};
        state->ismodemconnect2 = 1;
        modem_copytext(state->working.info.ussd.state, "running");
    }
    ~ussd() override
    {
        close(ends_[0]);
        close(ends_[1]);
        close(state->fdtimerat2);
    }
    int answer(const std::vector<std::string> &pieces)
    {
        char left[600];
        while (recv(ends_[0], left, sizeof(left), 0) > 0) {
        }
        for (const std::string &piece : pieces)
            (void)!send(ends_[1], piece.data(), piece.size(), 0);
        return modem_getussdanswer(state.get());
    }

    std::unique_ptr<modem_state> state = std::make_unique<modem_state>();

private:
    int ends_[2] = {-1, -1};
};

struct answer_case {
    const char *name;
    std::vector<std::string> pieces;
    int result;
    std::string answer;
};

std::string repeated(const char *text, unsigned count)
{
    std::string all;
    for (unsigned i = 0; i < count; i++)
        all += text;
    return all;
}

TEST_F(ussd, everyAnswerEndsTheRequest)
{
    const std::string noise(300, '.');
    const answer_case cases[] = {
        {"scheme 72", {"\r\n+CUSD: 0,\"041F04400438\",72\r\n"}, 0, "\xCF\xF0\xE8"},
        {"scheme 17", {"\r\n+CUSD: 0,\"00480069\",17\r\n"}, 0, "Hi"},
        {"in pieces", {"\r\n+CU", "SD: 0,\"0048", "0069\",", "72\r", "\n"}, 0, "Hi"},
        {"behind more than fits", {noise, noise + "+CUSD: 0,\"0048\",72\r\n"}, 0, "H"},
        {"80 characters are kept",
         {"+CUSD: 1,\"" + repeated("0041", 120) + "\",72\r\n"},
         0,
         std::string(80, 'A')},
        {"no whole character", {"\r\n+CUSD: 0,\"00480\",72\r\n"}, 0, "none"},
        {"no quoted text", {"\r\n+CUSD: 0,72\r\n"}, -1, "none"},
        {"one quote", {"\r\n+CUSD: 0,\"0048,72\r\n"}, -1, "none"},
        {"not supported by the modem", {"\r\n+CUSD: -12\r\n"}, 2, "cmd not supported"},
        {"without an answer", {"\r\n+CUSD: 0\r\n"}, 2, "none"},
        {"not supported by the network", {"\r\n+cusd: 4\r\n"}, 2, "operation not supported"},
        {"network time-out", {"\r\n+CUSD: 5\r\n"}, 2, "network time out"},
        {"error", {"\r\nerror\r\n"}, 2, "none"},
        {"error code", {"\r\n+CME ERROR:"}, 2, "none"},
        {"the answer wins over an error", {"ERROR\r\n+CUSD: 0,\"0048\",72\r\n"}, 0, "H"},
    };
    for (const answer_case &c : cases) {
        EXPECT_EQ(answer(c.pieces), c.result) << c.name;
        EXPECT_EQ(state->working.info.ussd.answer, c.answer) << c.name;
        EXPECT_STREQ(state->working.info.ussd.state, "stopped") << c.name;
    }
}

TEST_F(ussd, closedPortEndsTheRequest)
{
    state->ismodemconnect2 = 0;
    EXPECT_EQ(answer({}), -1);
    EXPECT_STREQ(state->working.info.ussd.answer, "none");
    EXPECT_STREQ(state->working.info.ussd.state, "stopped");
}

}  // namespace
