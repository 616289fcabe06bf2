// SPDX-License-Identifier: ISC
// The USSD answer reader: every kind of answer, in whatever pieces it comes.
#include "at/ussd.h"

#include <vector>

#include <gtest/gtest.h>

#include "core/record/text.h"
#include "tests/at/rig.h"

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
