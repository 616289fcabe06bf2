// SPDX-License-Identifier: ISC
// The methods `set` and `reinit`, and the settings package that they and the daemon's start repair.
#include <array>
#include <sys/inotify.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/router/running.h"

namespace
{

// How often the package has been replaced since the last look. Creations are watched as well, for
// the kernel merges equal events that follow each other.
class package_watch
{
public:
    package_watch()
    {
        EXPECT_GE(inotify_add_watch(fd, "/etc/config", IN_CREATE | IN_MOVED_TO), 0);
    }
    ~package_watch()
    {
        close(fd);
    }
    int commits() const
    {
        alignas(inotify_event) char events[4096];
        const ssize_t length = read(fd, events, sizeof events);
        int count = 0;
        for (ssize_t at = 0; at < length;) {
            const auto &event = *reinterpret_cast<const inotify_event *>(events + at);
            if ((event.mask & IN_MOVED_TO) != 0) count++;
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
        return count;
    }

private:
    const int fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
};

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

// Initialisations stop at one command until `release`.
const condition hold = held("AT+CGMM");
const condition release = saying("\r\nM\r\n\r\nOK\r\n");

struct refusal {
    bus_arguments arguments;
    std::string result;
    const char *method = "set";
};

void expect_refusals(running_router &router, const std::vector<refusal> &rows)
{
    const router_mark since = router.mark();
    const bus_reply before = router.call("get");
    for (const auto &[arguments, result, method] : rows) {
        const bus_reply reply = router.call(method, arguments);
        EXPECT_EQ(reply.status, 0);
        EXPECT_EQ(reply.fields, (decltype(reply.fields){{"result", "error: " + result}}));
    }
    EXPECT_EQ(router.call("get").fields, before.fields);
    EXPECT_EQ(router.log(since), std::vector<std::string>());
    EXPECT_EQ(read_file(router_configpath), router_defaultconfig);
}

TEST(set, refusalsComeInOrderAndChangeNothing)
{
    std::vector<refusal> rows = {
        {{{"modem_slot", "2"}}, "msg has no client"},
        {{{"client", "test"}}, "msg has no settings"},
        {{{"client", "test"}, {"modem_slot", 2}}, "msg has no settings"},
        {{{"client", ""}, {"modem_slot", "3"}}, "modem_slot unsupported value: 3"},
        {{{"client", ""}, {"modem_slot", "2"}}, "client is empty"},
        {{{"client", "test"},
          {"modem_network_type", ""},
          {"modem_slot", "2"},
          {"modem_gnss_mode", ""}},
         "modem_gnss_mode is empty"},
        {{{"client", ""}}, "client is empty", "reinit"},
    };
    const std::array<std::string, 3> values[] = {
        // clang-format off
        {"modem_slot", "3", "3"}, {"modem_rs485_pull", "Down", "Down"},
        {"modem_gnss_power", "only", "onl"}, {"modem_gnss_mode", "5", "5"},
        {"modem_network_type", "LTE", "LTE"}, {"modem_network_iptype", "ipv44", "ipv44"},
        {"modem_network_iptype", "ipv4v46", "ipv4v4"}, {"modem_network_iparea", "PUBLIC", "PUBLIC"},
        // clang-format on
    };
    for (const auto &[name, given, shown] : values) {
        rows.push_back({{{"client", "test"}, {name, ""}}, name + " is empty"});
        rows.push_back(
            {{{"client", "test"}, {name, given}}, name + " unsupported value: " + shown});
    }
    for (const char *apn : {"in\",\"\"ter", "in\rter", "in\x7Fter"})
        rows.push_back({{{"client", "test"}, {"modem_network_apn", apn}},
                        std::string("modem_network_apn unsupported value: ") + apn});
    running_router router;
    expect_refusals(router, rows);

    const router_mark since = router.mark();
    arrange(router, {hold});
    EXPECT_EQ(ask(router, "reinit"), "ok");
    EXPECT_TRUE(router.receives("AT+CGMM", since));
    const std::string init = "info.kelvantorium.state: init";
    expect_refusals(router,
                    {{{{"client", ""}, {"modem_slot", "3"}}, "modem_slot unsupported value: 3"},
                     {{{"client", ""}, {"modem_slot", "2"}}, init},
                     {{}, "msg has no client", "reinit"},
                     {{{"client", ""}}, init, "reinit"}});
    arrange(router, {release});
    EXPECT_TRUE(router.becomes(statepath, "op"));
}

TEST(set, acceptedValuesAreCutWrittenAndInForceAfterwards)
{
    const std::string apn(80, 'a');
    const std::string all =
        with(written, {"slot '1'", "slot '2'", "'down'", "'up'", "'on'", "'off'", "'3'", "'4'",
                       "ipv4", "ipv4v6", "public", "private", "dynamic", apn});
    const struct {
        std::string config;
        bus_arguments arguments;
        std::string after;
        int commits;
        std::string path, value;
    } rows[] = {
        // clang-format off
        {router_defaultconfig,
         {{"modem_slot", "21"}, {"modem_rs485_pull", "up"}, {"modem_gnss_power", "offline"},
          {"modem_gnss_mode", "43"}, {"modem_network_type", "autobahn"},
          {"modem_network_iptype", "ipv4v6x"}, {"modem_network_iparea", "privately"},
          {"modem_network_apn", apn + "\""}}, all, 1, "network.apn", apn},
        {all, {{"modem_network_apn", ""}}, with(all, {apn, "dynamic"}), 1, "network.apn", "dynamic"},
        {sparse, {{"modem_gnss_power", "on"}, {"modem_gnss_mode", "1"}, {"modem_rs485_pull", "up"}},
         sparse, 0, "gnss.power", "off"},
        {sparse, {{"modem_gnss_power", "on"}, {"modem_slot", "2"}},
         with(sparse, {"1", "2"}), 1, "slot", "2"},
        // clang-format on
    };
    running_router router;
    arrange(router, {{"sms", {{"text", "A"}}}});
    EXPECT_TRUE(router.becomes("info.sms.recv_counter", "1"));
    int counter = 0;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.path + " " + row.value);
        write_file(router_configpath, row.config);
        EXPECT_EQ(ask(router, "reinit"), "ok");
        EXPECT_TRUE(router.becomes(statepath, "op"));
        const package_watch watch;
        const router_mark since = router.mark();
        arrange(router, {hold});
        bus_arguments arguments = row.arguments;
        arguments.emplace_back("client", "abcdefghijklmnopqrst");
        EXPECT_EQ(router.call("set", arguments)["result"], "ok");
        EXPECT_TRUE(router.receives("AT+CGMM", since));
        const bus_reply during = router.call("get");
        expect_transition(router, since, "op", "init", "none",
                          "abcdefghijklmno_client call set: done ok");
        EXPECT_EQ(during["info.kelvantorium.reinit_counter"], std::to_string(++counter));
        EXPECT_EQ(during["info.sms.recv_counter"], "1");
        EXPECT_EQ(during["info.modem.model"], "none");
        EXPECT_EQ(read_file(router_configpath), row.after);
        EXPECT_EQ(watch.commits(), row.commits);

        arrange(router, {release});
        EXPECT_TRUE(router.becomes("info.kelvantorium.reinit_counter", std::to_string(++counter)));
        EXPECT_EQ(router.status("settings.modem." + row.path), row.value);
    }
}

TEST(settings, packageIsRepairedAndOtherwiseLeftAlone)
{
    const std::string untidy =
        "# by hand\nconfig modem modem\n option slot 2\nconfig other\n option x y\n";
    const std::string listed = "config network 'network'\n\tlist type '4g'\n";
    const std::string modeonly = "config gnss 'gnss'\n\toption mode '2'\n";
    const std::string longapn(100, 'a');
    const std::string longpackage = with(router_defaultconfig, {"dynamic", longapn});
    const struct {
        const char *name;
        std::string before, after;
        int commits;
        std::string path, value;
        const char *rs485, *gnss;  // presence flags
    } rows[] = {
        // clang-format off
        {"valid", router_defaultconfig, router_defaultconfig, 0, "gnss.power", "on", "1", "1"},
        {"valid, by hand", untidy, untidy, 0, "slot", "2", "0", "0"},
        {"word", with(written, {"'on'", "'yes'"}), with(written, {"'on'", "'off'"}), 1, "gnss.power", "off", "1", "1"},
        {"three", with(written, {"slot '1'", "slot '3'", "'3'", "'33'", "ipv4", "IPv6"}), written, 1, "network.iptype", "ipv4", "1", "1"},
        {"strangers stay", with(untidy, {"2", "0"}),
         "\nconfig modem 'modem'\n\toption slot '1'\n\nconfig other\n\toption x 'y'\n\n", 1,
         "slot", "1", "0", "0"},
        {"options missing", sparse, sparse, 0, "network.iparea", "public", "0", "0"},
        {"mode alone", modeonly, modeonly, 0, "gnss.mode", "2", "0", "1"},
        {"list", listed, listed, 0, "network.type", "auto", "0", "0"},
        {"long name", longpackage, longpackage, 0, "network.apn", longapn.substr(20), "1", "1"},
        {"quote in a name", with(written, {"dynamic", "in\",\"ter"}), written, 1, "network.apn", "dynamic", "1", "1"},
        {"line end in a name", with(written, {"dynamic", "in\rter"}), written, 1, "network.apn", "dynamic", "1", "1"},
        {"letters beyond ASCII", with(written, {"dynamic", "\xC0\xFF"}), with(written, {"dynamic", "\xC0\xFF"}), 0, "network.apn", "\xC0\xFF", "1", "1"},
        {"nothing", "", "", 0, "network.apn", "dynamic", "0", "0"},
        // clang-format on
    };
    running_router router;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        write_file(router_configpath, row.before);
        if (row.before.empty()) unlink(router_configpath);
        const package_watch watch;
        const router_mark since = router.mark();
        EXPECT_EQ(ask(router, "reinit"), "ok");
        EXPECT_TRUE(router.becomes(statepath, "op"));
        EXPECT_EQ(read_file(router_configpath), row.after);
        EXPECT_EQ(access(router_configpath, F_OK) == 0, !row.after.empty());
        EXPECT_EQ(watch.commits(), row.commits);
        EXPECT_EQ(router.status("settings.modem." + row.path), row.value);
        const std::string settings = "info init: settings.modem.";
        EXPECT_TRUE(router.logs(settings + "rs485.enabled: " + row.rs485, since));
        EXPECT_TRUE(router.logs(settings + "gnss.enabled: " + row.gnss, since));
    }
}

}  // namespace
