// SPDX-License-Identifier: ISC
// The methods `set` and `reinit`, and the settings package that they and the daemon's start repair.
#include <array>
#include <sys/inotify.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/router/running.h"

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

// The text in which, from its begin to its end, one word after another is replaced by the next.
std::string with(std::string text, const std::vector<std::string> &words)
{
    std::size_t at = 0;
    for (std::size_t word = 0; word < words.size(); word += 2) {
        at = text.find(words[word], at);
        if (at == std::string::npos) ADD_FAILURE() << words[word];
        text.replace(at, words[word].size(), words[word + 1]);
        at += words[word + 1].size();
    }
    return text;
}

// The default package as the configuration library writes it.
const std::string written = router_defaultconfig + std::string("\n");
// Sections without the options that a presence flag stands for.
const std::string sparse =
    "\nconfig modem 'modem'\n\toption slot '1'\n\nconfig rs485 'rs485'\n\nconfig gnss 'gnss'\n\n";

TEST(set, refusalsComeInOrderAndChangeNothing)
{
    std::vector<refusal> rows = {
        {"set", {{"modem_slot", "2"}}, "msg has no client"},
        {"set", {{"client", "test"}}, "msg has no settings"},
        {"set", {{"client", "test"}, {"modem_slot", 2}}, "msg has no settings"},
        {"set", {{"client", ""}, {"modem_slot", "3"}}, "modem_slot unsupported value: 3"},
        {"set", {{"client", ""}, {"modem_slot", "2"}}, "client is empty"},
        {"set",
         {{"modem_network_type", ""}, {"client", "A"}, {"modem_gnss_mode", ""}},
         "modem_gnss_mode is empty"},
        {"reinit", {{"client", ""}}, "client is empty"},
    };
    const std::array<std::string, 3> values[] = {
        // clang-format off
        {"modem_slot", "3", "3"}, {"modem_rs485_pull", "Down", "Down"},
        {"modem_gnss_power", "only", "onl"}, {"modem_gnss_mode", "5", "5"},
        {"modem_network_type", "LTE", "LTE"}, {"modem_network_iptype", "ipv44", "ipv44"},
        {"modem_network_iptype", "ipv4v46", "ipv4v4"}, {"modem_network_iparea", "PUBLIC", "PUBLIC"},
        {"modem_network_apn", "in\",\"\"ter", "in\",\"\"ter"}, {"modem_network_apn", "in\rter", "in\rter"},
        {"modem_network_apn", "in\x7Fter", "in\x7Fter"},
        // clang-format on
    };
    for (const auto &[name, given, shown] : values) {
        rows.push_back(
            {"set", {{"client", "A"}, {name, given}}, name + " unsupported value: " + shown});
        if (name != "modem_network_apn")
            rows.push_back({"set", {{"client", "A"}, {name, ""}}, name + " is empty"});
    }
    running_router router;
    const std::size_t logged = router.log().size();
    const bus_reply before = router.call("get");
    expect_refusals(router, rows);
    EXPECT_EQ(router.log().size(), logged);
    EXPECT_EQ(router.call("get").fields, before.fields);

    arrange(router, {{"sms", {{"text", "A"}}}});
    EXPECT_TRUE(router.becomes("info.sms.recv_counter", "1"));
    const router_mark since = router.mark();
    arrange(router, {held("AT+CGMM")});
    EXPECT_EQ(ask(router, "set", {{"modem_slot", "1"}}), "ok");
    EXPECT_TRUE(router.receives("AT+CGMM", since));
    expect_transition(router, since, "op->init", "none", caller + "set: done ok");
    EXPECT_EQ(router.status("info.modem.model"), "none");
    EXPECT_EQ(router.status("info.sms.recv_counter"), "1");
    const std::string init = "info.kelvantorium.state: init";
    expect_refusals(
        router, {{"set", {{"client", ""}, {"modem_slot", "3"}}, "modem_slot unsupported value: 3"},
                 {"set", {{"client", ""}, {"modem_slot", "2"}}, init},
                 {"reinit", {}, "msg has no client"},
                 {"reinit", {{"client", ""}}, init}});
    arrange(router, {saying("\r\nM\r\n\r\nOK\r\n")});
    EXPECT_TRUE(router.becomes(statepath, "op"));
    EXPECT_EQ(router.status("info.kelvantorium.reinit_counter"), "1");
}

TEST(settings, packageHoldsWhatIsSetAndIsRepaired)
{
    const std::string untidy =
        "# by hand\nconfig modem modem\n option slot 2\nconfig other\n option x y\n";
    const std::string listed = "config network 'network'\n\tlist type '4g'\n";
    const std::string modeonly = "config gnss 'gnss'\n\toption mode '2'\n";
    const std::string longapn(100, 'a');
    const std::string apn(80, 'a');
    const std::string longpackage = with(router_defaultconfig, {"dynamic", longapn});
    const std::string all =
        with(written, {"slot '1'", "slot '2'", "'down'", "'up'", "'on'", "'off'", "'3'", "'4'",
                       "ipv4", "ipv4v6", "public", "private", "dynamic", apn});
    const struct {
        std::string before;
        bus_arguments arguments;  // of `set`; none: an initialisation
        std::string after;
        int commits;
        std::string path, value;
        const char *rs485 = "1", *gnss = "1";  // presence flags
    } rows[] = {
        // clang-format off
        {router_defaultconfig, {}, router_defaultconfig, 0, "gnss.power", "on"},
        {untidy, {}, untidy, 0, "slot", "2", "0", "0"},
        {with(written, {"'on'", "'yes'"}), {}, with(written, {"'on'", "'off'"}), 1, "gnss.power", "off"},
        {with(written, {"slot '1'", "slot '3'", "'3'", "'33'", "ipv4", "IPv6"}), {}, written, 1, "network.iptype", "ipv4"},
        {with(untidy, {"2", "0"}), {},
         "\nconfig modem 'modem'\n\toption slot '1'\n\nconfig other\n\toption x 'y'\n\n", 1,
         "slot", "1", "0", "0"},
        {sparse, {}, sparse, 0, "network.iparea", "public", "0", "0"},
        {modeonly, {}, modeonly, 0, "gnss.mode", "2", "0", "1"},
        {listed, {}, listed, 0, "network.type", "auto", "0", "0"},
        {longpackage, {}, longpackage, 0, "network.apn", apn},
        {with(written, {"dynamic", "in\",\"ter"}), {}, written, 1, "network.apn", "dynamic"},
        {with(written, {"dynamic", "in\rter"}), {}, written, 1, "network.apn", "dynamic"},
        {with(written, {"dynamic", "\xC0\xFF"}), {}, with(written, {"dynamic", "\xC0\xFF"}), 0, "network.apn", "\xC0\xFF"},
        {"", {}, "", 0, "network.apn", "dynamic", "0", "0"},
        // What is accepted is cut, written where the package has it, and in force afterwards.
        {router_defaultconfig,
         {{"modem_slot", "21"}, {"modem_rs485_pull", "up"}, {"modem_gnss_power", "offline"},
          {"modem_gnss_mode", "43"}, {"modem_network_type", "autobahn"},
          {"modem_network_iptype", "ipv4v6x"}, {"modem_network_iparea", "privately"},
          {"modem_network_apn", apn + "\""}}, all, 1, "network.apn", apn},
        {all, {{"modem_network_apn", ""}}, with(all, {apn, "dynamic"}), 1, "network.apn", "dynamic"},
        {sparse, {{"modem_gnss_power", "on"}, {"modem_gnss_mode", "1"}, {"modem_rs485_pull", "up"}},
         sparse, 0, "gnss.power", "off", "0", "0"},
        {sparse, {{"modem_gnss_power", "on"}, {"modem_slot", "2"}}, with(sparse, {"1", "2"}), 1, "slot", "2", "0", "0"},
        // clang-format on
    };
    running_router router;
    for (const auto &row : rows) {
        SCOPED_TRACE(&row - rows);
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
        EXPECT_EQ(countcommits(watch), row.commits);
        EXPECT_EQ(router.status("settings.modem." + row.path), row.value);
        const std::string flag = "info init: settings.modem.";
        EXPECT_TRUE(router.logs(flag + "rs485.enabled: " + row.rs485, since));
        EXPECT_TRUE(router.logs(flag + "gnss.enabled: " + row.gnss, since));
    }
}

}  // namespace
