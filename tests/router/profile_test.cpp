// SPDX-License-Identifier: ISC
// Modems of other makes: how the daemon gets along with each profile.
#include <gtest/gtest.h>

#include "tests/router/running.h"

namespace
{

std::string profile(const char *name)
{
    return read_file(std::string(MODEM_PROFILES "/") + name);
}

using expectations = std::vector<std::pair<std::string, std::string>>;

void expect_report(virtual_router &router, const expectations &expected)
{
    const bus_reply report = router.call("get");
    for (const auto &[path, value] : expected)
        EXPECT_EQ(report["info." + path], value) << path;
}

TEST(profile, everyOneIsInitialisedAndWatched)
{
    const std::string firmware = "LM1.04.02B01_81600.0000.00.29.24.11.16_B01V02_RELEASE_CANDIDATE";
    const std::string company = "Test Operator and Daughters, Te";
    const struct {
        const char *name, *pace;  // the daemon's waits are fiftieths here
        expectations lte, wcdma, gsm;
    } rows[] = {
        {"slow-and-chatty",
         "reply_delay 3\ncard_delay 30\nsms_delay 30\nfix_delay 400\nchatter_interval 15\n",
         {{"network.provider", "Test Operator"}, {"network.rssi", "-68.00"}, {"gnss.pdop", "6.90"}},
         {{"network.rssi", "-29.00"}, {"network.rscp", "-86.00"}},
         {{"network.rssi", "-71.00"}}},
        {"long-and-split",
         "",
         {{"network.provider", company}, {"network.rssi", "-70.00"}, {"modem.firmware", firmware}},
         {{"network.rssi", "-83.00"}, {"network.rscp", "-83.00"}},
         {{"network.rssi", "-64.00"}, {"gnss.latitude", "5546.1235352"}}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        running_router router({.profile = profile(row.name) + row.pace});
        EXPECT_TRUE(router.becomes("info.gnss.state", "available"));
        expect_report(router, row.lte);
        arrange(router, {{"ussd", {{"answer", "Баланс 42.50"}, {"delay", 200}}},
                         {"sms", {{"text", std::string(100, 'x')}, {"order", "2,1"}}}});
        EXPECT_EQ(ask(router, "ussd_send", {{"cmd", "*100#"}}), "ok");
        EXPECT_TRUE(router.becomes("info.ussd.state", "stopped"));
        EXPECT_EQ(router.status("info.ussd.answer"), "\xC1\xE0\xEB\xE0\xED\xF1 42.50");
        EXPECT_TRUE(router.becomes("info.sms.recv_counter", "1"));
        EXPECT_EQ(router.call("sms_get", {{"id", "1"}})["text"], std::string(100, 'x'));
        EXPECT_EQ(ask(router, "set", {{"modem_network_type", "3g"}}), "ok");
        EXPECT_TRUE(router.becomes("info.network.type", "3g/WCDMA"));
        expect_report(router, row.wcdma);
        EXPECT_EQ(ask(router, "set", {{"modem_network_type", "2g"}}), "ok");
        EXPECT_TRUE(router.becomes("info.network.type", "2g/GSM"));
        expect_report(router, row.gsm);
    }
}

TEST(profile, wordsAreTakenFromWhereTheyStand)
{
    running_router router({.profile = "reply +CGMM +CGMM: \"{model}\"\n"
                                      "reply +CGMR Revision: {firmware}\n"
                                      "reply +CGSN \"{imei}\"\n"
                                      "reply +CIMI +CIMI: \"{imsi}\"\n"
                                      "reply +CICCID +ICCID: \"{iccid}\"\n"});
    expect_report(router, {{"modem.model", "+CGMM:"},
                           {"modem.firmware", "none"},
                           {"modem.imei", "\"86100000000001"},
                           {"sim.imsi", "+CIMI:"},
                           {"sim.iccid", "\"8970199000000000017\""}});
}

TEST(profile, cardThatIsNotReadyInTimeEndsTheInitialisation)
{
    const struct {
        const char *late, *reason;
    } rows[] = {
        {"card_delay", "get lock status sim: AT+CPIN?: didn't get answer OK"},
        {"sms_delay", "set SIM sms-storage: AT+CPMS=SM,SM,SM: didn't get answer OK"},
    };
    for (const auto &[late, reason] : rows) {
        running_router router({.profile = std::string(late) + " 600000\n", .settled = false});
        expect_transition(router, {}, "init", "error", "no_answer", reason);
        arrange(router, {{"profile", {{"name", late}, {"value", "0"}}}});
        router.renew();
    }
}

TEST(card, isUnlockedByAClient)
{
    running_router router;
    arrange(router, {{"sim", {{"slot", 1}, {"lock", "SIM PIN"}}}});
    EXPECT_EQ(ask(router, "reinit"), "ok");
    EXPECT_TRUE(router.becomes(errorpath, "sim_locked"));
    const auto at = [&](const char *command) {
        return router.call("at_send", {{"client", "test"}, {"cmd", command}})["answer"];
    };
    EXPECT_EQ(at("AT+CPIN=\"0000\""), "\r\n+CME ERROR: incorrect password\r\n");
    EXPECT_EQ(router.modem("state")["pin_tries"], "2");
    EXPECT_EQ(at("AT+CPIN=\"1234\""), "\r\nOK\r\n");
    EXPECT_EQ(ask(router, "reinit"), "ok");  // cuts the card's power
    EXPECT_TRUE(router.becomes(statepath, "error"));
    EXPECT_EQ(router.status(errorpath), "sim_locked");
    EXPECT_EQ(at("AT+CPIN=\"1234\""), "\r\nOK\r\n");
    EXPECT_EQ(at("AT+CLCK=\"SC\",0,\"1234\""), "\r\nOK\r\n");
    EXPECT_EQ(ask(router, "reinit"), "ok");
    EXPECT_TRUE(router.settles());
}

}  // namespace
