// SPDX-License-Identifier: ISC
// The methods `set` and `reinit`, and the settings package that they and the daemon's start repair.
#include <algorithm>
#include <regex>
#include <sys/inotify.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/router/running.h"
#include "tests/support/table.h"

namespace
{

// Watches where the package lies. Creations are watched as well, for the kernel merges equal events
// that follow each other.
int watchpackage()
{
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    EXPECT_GE(inotify_add_watch(watch, "/etc/config", IN_CREATE | IN_MOVED_TO), 0);
    return watch;
}

// How often the package has been replaced since; ends the watch.
int countcommits(int watch)
{
    alignas(inotify_event) char events[4096];
    const ssize_t length = read(watch, events, sizeof events);
    close(watch);
    int count = 0;
    for (ssize_t at = 0; at < length;) {
        const auto &event = *reinterpret_cast<const inotify_event *>(events + at);
        if ((event.mask & IN_MOVED_TO) != 0) count++;
        at += static_cast<ssize_t>(sizeof event + event.len);
    }
    return count;
}

// The package with these options, "SECTION.NAME=VALUE", and sections, as the library writes it.
std::string packageof(const std::string &cell)
{
    std::string text, section;
    for (const std::string &word : words_of(cell)) {
        const std::size_t dot = std::min(word.find_first_of(".="), word.size());
        if (word.substr(0, dot) != section) {
            section = word.substr(0, dot);
            text += "\nconfig " + section + " '" + section + "'\n";
        }
        const std::size_t equals = word.find('=');
        if (equals == std::string::npos) continue;
        text += "\toption " + word.substr(dot + 1, equals - dot - 1) + " '" +
                word.substr(equals + 1) + "'\n";
    }
    return text + "\n";
}

bus_arguments argumentsof(const std::string &cell)
{
    bus_arguments arguments;
    for (const std::string &word : words_of(cell))
        arguments.emplace_back(word.substr(0, word.find('=')), word.substr(word.find('=') + 1));
    return arguments;
}

// Refusals and their order are in docs/bus-api.md.
TEST(set, refusalsChangeNothingAndInitShowsDefaults)
{
    running_router router;
    const std::size_t logged = router.log().size();
    const bus_reply before = router.call("get");
    const std::pair<const char *, bus_arguments> refused[] = {
        {"set", {{"client", "A"}, {"modem_slot", "2"}, {"modem_network_apn", "in\x7Fter"}}},
        {"set", {{"client", ""}, {"modem_slot", "2"}}},
        {"reinit", {{"client", ""}}},
        {"ussd_send", {{"client", "A"}, {"cmd", "1\x7F"}}},
    };
    for (const auto &[method, arguments] : refused) {
        const bus_reply reply = router.call(method, arguments);
        EXPECT_EQ(reply.status, 0);
        EXPECT_TRUE(reply.fields.size() == 1 && reply["result"].starts_with("error: ")) << method;
    }
    EXPECT_EQ(router.log().size(), logged);
    EXPECT_EQ(router.call("get").fields, before.fields);
    EXPECT_EQ(read_file(router_configpath), router_defaultconfig);

    arrange(router, {{"sms", {{"text", "A"}}}});
    EXPECT_TRUE(router.becomes("info.sms.recv_counter", "1"));
    const router_mark since = router.mark();
    arrange(router, {held("AT+CGMM")});
    EXPECT_EQ(ask(router, "set", {{"modem_slot", "1"}}), "ok");
    EXPECT_TRUE(router.receives("AT+CGMM", since));
    expect_transition(router, since, "op->init", "none", caller + "set: done ok");
    EXPECT_EQ(router.status("info.modem.model"), "none");
    EXPECT_EQ(router.status("info.sms.recv_counter"), "1");
    arrange(router, {saying("\r\nM\r\n\r\nOK\r\n")});
    EXPECT_TRUE(router.becomes(statepath, "op"));
    EXPECT_EQ(router.status("info.kelvantorium.reinit_counter"), "1");
}

TEST(settings, packageHoldsWhatIsSetAndIsRepaired)
{
    struct example {
        std::string before;
        bus_arguments arguments;  // of `set`; none: an initialisation
        std::string after, path, value;
    };
    const std::string untidy =
        "# by hand\nconfig modem modem\n option slot %\nconfig other\n option x y\n";
    const std::string good = std::regex_replace(untidy, std::regex("%"), "2");
    const std::string repaired =
        "\nconfig modem 'modem'\n\toption slot '1'\n\nconfig other\n\toption x 'y'\n\n";
    const std::string listed = "config network 'network'\n\tlist type '4g'\n";
    std::vector<example> rows = {
        {good, {}, good, "slot", "2"},
        {untidy, {}, repaired, "slot", "1"},
        {listed, {}, listed, "network.type", "auto"},
        {"", {}, "", "network.apn", "dynamic"},
        {"config network network\n option apn 'in\rter'\n",
         {},
         packageof("network.apn=dynamic"),
         "network.apn",
         "dynamic"},
    };
    for (const auto &cells : readtable("settings.md", "Repairs and changes by example"))
        rows.push_back(
            {packageof(cells[0]), argumentsof(cells[1]), packageof(cells[2]), cells[3], cells[4]});
    EXPECT_EQ(rows.size(), 5U + 13U);
    running_router router;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.before + std::to_string(row.arguments.size()));
        write_file(router_configpath, row.before);
        if (row.before.empty()) unlink(router_configpath);
        EXPECT_TRUE(row.arguments.empty() || ask(router, "reinit") == "ok");
        EXPECT_TRUE(router.becomes(statepath, "op"));
        const int watch = watchpackage();
        const router_mark since = router.mark();
        EXPECT_EQ(ask(router, row.arguments.empty() ? "reinit" : "set", row.arguments), "ok");
        EXPECT_TRUE(router.becomes(statepath, "op"));
        EXPECT_EQ(read_file(router_configpath), row.after);
        EXPECT_EQ(access(router_configpath, F_OK) == 0, !row.after.empty());
        EXPECT_EQ(countcommits(watch), row.before == row.after ? 0 : 1);
        EXPECT_EQ(router.status("settings.modem." + row.path), row.value);
        const auto flag = [&](const std::string &section, const char *options) {
            const bool has = std::regex_search(row.before, std::regex(options));
            return "info init: settings.modem." + section + ".enabled: " + (has ? "1" : "0");
        };
        EXPECT_TRUE(router.logs(flag("rs485", "option pull"), since));
        EXPECT_TRUE(router.logs(flag("gnss", "option (power|mode)"), since));
    }
}

}  // namespace
