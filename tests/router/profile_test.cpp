// SPDX-License-Identifier: ISC
// Modems of other makes: how the daemon gets along with each profile.
#include <gtest/gtest.h>

#include "tests/router/running.h"

namespace
{

TEST(profile, everyOneIsInitialisedAndWatched)
{
    const std::pair<std::string, std::string> rows[] = {
        // the daemon's waits are fiftieths here
        {"slow-and-chatty",
         "reply_delay 3\ncard_delay 30\nsms_delay 30\nfix_delay 400\nchatter_interval 15\n"},
        {"long-and-split", ""},
    };
    for (const auto &[name, pace] : rows) {
        SCOPED_TRACE(name);
        running_router router({.profile = read_file(MODEM_PROFILES "/" + name) + pace});
        EXPECT_TRUE(router.becomes("info.gnss.state", "available"));
        arrange(router, {{"ussd", {{"answer", "Баланс 42.50"}, {"delay", 200}}},
                         {"sms", {{"text", std::string(100, 'x')}, {"order", "2,1"}}}});
        EXPECT_EQ(ask(router, "ussd_send", {{"cmd", "*100#"}}), "ok");
        EXPECT_TRUE(router.becomes("info.ussd.state", "stopped"));
        EXPECT_EQ(router.status("info.ussd.answer"), "\xC1\xE0\xEB\xE0\xED\xF1 42.50");
        EXPECT_TRUE(router.becomes("info.sms.recv_counter", "1"));
        EXPECT_EQ(router.call("sms_get", {{"id", "1"}})["text"], std::string(100, 'x'));
        const std::string provider = router.status("info.network.provider");
        EXPECT_TRUE(provider.starts_with("Test Operator") && provider.size() < 32) << provider;
        for (const char *type : {"3g/WCDMA", "2g/GSM", "4g/LTE"}) {
            const std::string word(type, 2);
            EXPECT_EQ(ask(router, "set", {{"modem_network_type", word}}), "ok");
            EXPECT_TRUE(router.becomes("info.network.type", type));
            EXPECT_NE(router.status("info.network.level"), "no signal");
        }
    }
}

}  // namespace
