// SPDX-License-Identifier: ISC
// Exchanges on both ports: every result, whatever shape the reply or the USSD answer comes in.
#include <fcntl.h>
#include <vector>

#include <gtest/gtest.h>

#include "at/sendat.h"
#include "at/ussd.h"
#include "core/record/text.h"
#include "tests/at/rig.h"

namespace
{

TEST(sendat, resultFollowsTheReply)
{
    constexpr unsigned never = 60000;  // ms
    constexpr unsigned soon = 100;
    const struct {
        const char *name;
        std::vector<std::string> pieces;
        const char *awaited;
        unsigned timeout;  // ms
        int result;
        const char *command = "AT+TEST";
    } rows[] = {
        {"whole", {"\r\n+TEST: 1\r\n\r\nOK\r\n"}, modem_atok, never, 0},
        {"in pieces", {"\r", "\n+TEST: 1\r\n\r", "\nO", "K\r", "\n"}, modem_atok, never, 0},
        {"any case", {"\r\nok\r\n"}, modem_atok, never, 0},
        {"ok behind an error", {"\r\nERROR\r\n\r\nOK\r\n"}, modem_atok, never, 0},
        {"prompt", {"\r\n> "}, ">", never, 0},
        {"error", {"\r\nERROR\r\n"}, modem_atok, never, 2},
        {"error in lower case", {"\r\nerror\r\n"}, modem_atok, never, 2},
        {"error in pieces", {"\r\n+CME ERROR:", " SIM busy\r", "\n"}, modem_atok, never, 2},
        {"silence", {}, modem_atok, soon, 1},
        {"no end of the line", {"\r\nERROR\r"}, modem_atok, soon, 1},
        {"no end of the error's line", {"\r\n+CMS ERROR: 5"}, modem_atok, soon, 1},
        {"a code behind a whole error", {"+CMS ERROR: 5\r\n+CME ERROR: "}, modem_atok, soon, 1},
        {"collected until the time-out", {"\r\nOK\r\n"}, nullptr, soon, 1},
        {"only sent", {}, modem_atok, 0, 0},
        {"no command", {}, modem_atok, never, -1, nullptr},
        {"empty command", {}, modem_atok, never, -1, ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const rig port;
        std::string reply;
        for (const std::string &piece : row.pieces) {
            port.answer(piece);
            reply += piece;
        }
        EXPECT_EQ(modem_sendat(port.state.get(), row.command, row.awaited, row.timeout, 0),
                  row.result);
        EXPECT_EQ(modem_getreply(port.state.get()), reply);
        EXPECT_EQ(port.command(), row.result == -1 ? "" : "AT+TEST\r");
    }
}

TEST(sendat, chatterWithoutEndDoesNotOutlastTheTimeout)
{
    const rig port;
    const int endless = open("/dev/zero", O_RDWR | O_CLOEXEC);
    ASSERT_GE(dup2(endless, port.state->fdcom), 0);
    close(endless);
    alarm(20);
    EXPECT_EQ(modem_sendat(port.state.get(), "AT+TEST", modem_atok, 100, 0), 1);
    alarm(0);
}

TEST(ussd, everyAnswerEndsTheRequest)
{
    const std::string noise(300, '.');
    const struct {
        const char *name;
        std::vector<std::string> pieces;
        int result;
        const char *answer;
        bool isopen = true;
    } rows[] = {
        {"scheme 72", {"\r\n+CUSD: 0,\"041F04400438\",72\r\n"}, 0, "\xCF\xF0\xE8"},
        {"in pieces", {"\r\n+CU", "SD: 0,\"0048", "0069\",", "17\r", "\n"}, 0, "Hi"},
        {"behind more than fits", {noise, noise + "+CUSD: 0,\"0048\",72\r\n"}, 0, "H"},
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
        {"closed port", {}, -1, "none", false},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const rig port;
        modem_state *record = port.state.get();
        modem_copytext(record->working.info.ussd.state, "running");
        record->ismodemconnect2 = row.isopen;
        for (const std::string &piece : row.pieces)
            (void)!send(port.modemsecond, piece.data(), piece.size(), 0);
        EXPECT_EQ(modem_getussdanswer(record), row.result);
        EXPECT_STREQ(record->working.info.ussd.answer, row.answer);
        EXPECT_STREQ(record->working.info.ussd.state, "stopped");
    }
}

}  // namespace
