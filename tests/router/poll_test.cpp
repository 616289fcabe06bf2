// SPDX-License-Identifier: ISC
// The poll of the running modem as docs/poll.md tells it: what each pass sends, and what ends it.
#include <regex>

#include <gtest/gtest.h>

#include "tests/router/running.h"
#include "tests/support/table.h"

namespace
{

const condition nocard = {"adc", {{"value", 0}}};

// The calls of the simulator in a cell: `adc value=0`, or several.
std::vector<condition> callsof(const std::string &cell)
{
    static const std::regex call("(\\w+)(?: \\w+=(?:\"[^\"]*\"|\\w+))+");
    static const std::regex argument(" (\\w+)=(?:\"([^\"]*)\"|(\\d+)|(\\w+))");
    std::vector<condition> found;
    for (std::sregex_iterator at(cell.begin(), cell.end(), call), end; at != end; ++at) {
        found.push_back({(*at)[1]});
        const std::string text = at->str();
        for (std::sregex_iterator word(text.begin(), text.end(), argument); word != end; ++word) {
            bus_value value = (*word)[2].str();
            if ((*word)[3].matched) value = std::stoi((*word)[3]);
            if ((*word)[4].matched) value = (*word)[4] == "true";
            found.back().arguments.emplace_back((*word)[1], value);
        }
    }
    return found;
}

TEST(poll, passesHoldTheQueriesAndChangedLedsOnly)
{
    running_router router;
    const auto rows = readtable("poll.md", "Passes");
    EXPECT_EQ(rows.size(), 15U);
    for (const auto &row : rows) {
        SCOPED_TRACE(row[0]);
        const router_mark renewal = router.mark();
        router.renew();
        for (const char *lit :
             {"AT+CGSETV=55,0;+CGSETV=56,1;+CGSETV=57,0;+CGSETV=58,0",
              "AT+CGSETV=20,1;+CGSETV=12,1;+CGSETV=59,1;+CGSETV=48,0", "AT+CGSETV=25,1"})
            EXPECT_TRUE(router.receives(lit, renewal)) << "whatever was shown before";
        const router_mark since = router.passmark();
        arrange(router, callsof(row[1]));
        std::vector<std::string> passes = router.distinctpasses(since);
        std::vector<std::string> expected = {row[2], row[3]};
        if (row[2].empty()) expected.erase(expected.begin());
        if (expected.front() != fullpass && passes.front() == fullpass)
            passes.erase(passes.begin());
        EXPECT_EQ(passes, expected);
        EXPECT_EQ(router.status(row[4]), row[5]);
        if (HasFailure()) return;  // every wait would be in vain, here and below
    }
    arrange(router, {{"clear_faults"}});
    EXPECT_EQ(ask(router, "set", {{"modem_gnss_power", "off"}}), "ok");
    EXPECT_TRUE(router.becomes("info.network.state", "connected"));
    EXPECT_EQ(router.steadypass(), "AT+CADC=2" + fullpass.substr(watchpass.size()));
    arrange(router, {nocard});
    EXPECT_TRUE(router.becomes(errorpath, "sim_removed"));
    EXPECT_EQ(router.steadypass(), "AT+CADC=2");
}

TEST(poll, failuresAreRecordedWithTheFormerStateAndIdle)
{
    running_router router;
    const auto rows = readtable("poll.md", "Failures");
    EXPECT_EQ(rows.size(), 20U);
    for (const auto &row : rows) {
        SCOPED_TRACE(row[0] + " " + row[1] + " " + row[2]);
        router.renew();
        if (row[0] == "nosim") {
            arrange(router, {nocard});
            EXPECT_TRUE(router.becomes(errorpath, "sim_removed"));
            (void)ask(router, "reinit");
            EXPECT_TRUE(router.becomes(statepath, "nosim"));
        }
        const router_mark since = router.mark();
        arrange(router, {fault(row[1], row[2])});
        arrange(router, callsof(row[3]));
        expect_transition(router, since, row[0] + "->error", "no_answer", row[4]);
        std::string rest;
        for (const std::string &command : router.commands(since))
            rest = command.starts_with(row[1]) ? "" : rest + (rest.empty() ? "" : " ") + command;
        EXPECT_EQ(rest, row[5]);
        EXPECT_TRUE(router.isidle());
        if (HasFailure()) return;
    }
}

TEST(poll, withoutAUsableCardSlotsAndGnssStayWatched)
{
    running_router router;
    const auto rows = readtable("poll.md", "Without a usable card");
    EXPECT_EQ(rows.size(), 5U);
    for (const auto &row : rows) {
        SCOPED_TRACE(row[3] + " " + row[0]);
        router.renew(row[0].c_str());
        router_mark since = router.mark();
        arrange(router, callsof(row[1]));
        if (row[2].starts_with("init")) (void)ask(router, "reinit");
        expect_transition(router, since, row[2], row[3], row[4]);
        EXPECT_EQ(router.steadypass(), watchpass);

        since = router.passmark();
        arrange(router, {{"adc", {{"value", 1200}}}});
        const std::vector<std::string> passes = router.distinctpasses(since);
        EXPECT_EQ(passes.back(), watchpass);
        EXPECT_EQ(passes.rbegin()[1], "AT+CADC=2 " + row[5] + " AT+CGNSSINFO");
        const std::string state = router.status(statepath);
        EXPECT_TRUE(row[2].ends_with(state));

        arrange(router, {fault("AT+CGNSSINFO", "silence")});
        expect_transition(router, since, state + "->error", "no_answer",
                          "get info.gnss: AT+CGNSSINFO: didn't get answer OK");
        EXPECT_TRUE(router.isidle());
        if (HasFailure()) return;
    }
}

}  // namespace
