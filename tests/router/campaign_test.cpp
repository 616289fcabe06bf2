// SPDX-License-Identifier: ISC
// Recoveries chosen at random, each brought about by what does it in the field: the package's
// script on a clock that runs faster, and the service manager, whose part is played here. The
// daemon has to come back to "op" each time, without losing a message that has left the modem.
#include <algorithm>
#include <array>
#include <csignal>
#include <iostream>
#include <map>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "tests/router/running.h"

namespace
{

constexpr int ordinarycount = issanitized ? 12 : 50;
constexpr long growth = 16;  // KiB
constexpr char scriptpath[] = "/run/kelvantorium-reinit";
constexpr char counterpath[] = "info.kelvantorium.reinit_counter";

// The package's script with a clock that runs two hundred times faster.
void makescript()
{
    std::string script = read_file(HEALING_SCRIPT);
    const std::string clock = "read -r seconds _ </proc/uptime";
    const std::size_t at = script.find(clock);
    ASSERT_NE(at, std::string::npos);
    script.replace(at, clock.size(), "seconds=$(($(date +%s%3N) / 5)).0");
    write_file(scriptpath, R"(
sleep() {
	command sleep $(($1 / 200)).$(printf %03d $(($1 % 200 * 5)))
}
ubus() {
	shift 3
	command ubus -S -t 1 "$@"
}
)" + script);
}

struct campaign : running_router {
    explicit campaign(unsigned seed)
        : running_router({.config = std::string(router_defaultconfig) +
                                    "config service 'service'\n\toption trace '0'\n",
                          .prefix = "env FAST_TIMEOUT=1000"}),
          random(seed)
    {
        makescript();
        runscript("watch");
    }
    ~campaign()
    {
        for (const pid_t script : scripts)
            (void)process_stop(script, SIGKILL, std::chrono::seconds(1));
    }

    int upto(int most)
    {
        return std::uniform_int_distribution<int>(0, most)(random);
    }
    void pause(int most)  // ms
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(upto(most)));
    }
    void runscript(const char *task)
    {
        scripts.push_back(
            process_start({"sh", scriptpath, task, "campaign"}, {.folder = ROUTER_PROGRAMS}));
    }

    // Numbered messages, at places that nothing else of this recovery uses.
    void deliver(std::size_t places)
    {
        while (sent.size() < places) {
            sent.push_back("message " + std::to_string(++number));
            store(*this, sent.size(), plainpdu(sent.back()));
        }
    }
    // Returns in the middle of the second message, or soon after it.
    void deliverslowly()
    {
        arrange(*this, {{"fault",
                         {{"command", "AT+CMG"}, {"kind", "split"}, {"chunk", 3}, {"delay", 2}}}});
        const router_mark now = mark();
        deliver(2);
        EXPECT_TRUE(receives("AT+CMGR=2", now));
        pause(80);
    }

    // The hot-plug script is started for each port that appears.
    void vanish()
    {
        arrange(*this, {{"unplug"}});
        pause(200);
        arrange(*this, {{"clear_faults"}, {"replug"}});
        for (int port = 0; port < 2; port++)
            runscript("heal");
    }
    void fallsilent()
    {
        arrange(*this, {fault("AT", "silence", 1 + upto(1))});
    }
    // More than any buffer of the daemon holds.
    void babble()
    {
        const char *commands[] = {"AT+CADC", "AT+CGNSSINFO", "AT+COPS?", "AT+CPSI?"};
        const char *command = commands[upto(3)];
        const std::string text(static_cast<std::size_t>(upto(100000)), '#');
        arrange(*this, {fault(command, "reply", 1, text)});
        expect_silence(command);
    }
    void hangup()
    {
        deliverslowly();
        vanish();
    }
    void losecard()
    {
        arrange(*this, {{"sim", {{"slot", 1}, {"inserted", false}}}});
        EXPECT_TRUE(becomes("info.modem.slot1_state", "empty"));  // in "error" or "nosim"
        pause(500);
        arrange(*this, {{"sim", {{"slot", 1}, {"inserted", true}}}});
    }
    void restartnetwork()
    {
        (void)parts.kill(router_part::network);
        pause(50);
        EXPECT_TRUE(parts.start(router_part::network)) << parts.error();
    }
    // The daemon ends with it.
    void restartbroker()
    {
        (void)parts.kill(router_part::broker);
        (void)waitdaemon();
        pause(50);
        EXPECT_TRUE(parts.start(router_part::broker)) << parts.error();
        for (const char *object : {"simulator", "network.interface.usb0"})
            EXPECT_TRUE(wait_until([&] { return bus().has(object); })) << object;
        EXPECT_TRUE(startdaemon());
    }
    void killandstart()
    {
        deliverslowly();
        killdaemon();
        arrange(*this, {{"clear_faults"}});
        EXPECT_TRUE(startdaemon());
    }

    // Initialised since, connected, and nothing left to read.
    bool iswell(const std::string &former)
    {
        const bus_reply now = call("get");
        const bus_reply left = modem("state");
        return now[statepath] == "op" && now["info.network.state"] == "connected" &&
               now[counterpath] != former && !left.has("storage.messages.1") &&
               !left.has("storage.messages.2");
    }

    // The list goes on with messages of this recovery, each at most once; one that the daemon has
    // taken from the modem is among them. Others were in the modem when it was initialised.
    void expect_messages()
    {
        const std::vector<entry> file = readlist();
        const auto now = std::strtoul(status("info.sms.recv_counter").c_str(), nullptr, 10);
        std::map<std::string, int> found;
        while (last != now) {
            const std::string text = file.at(last % 32).text;
            EXPECT_TRUE(++found[text] == 1 && std::ranges::count(sent, text) == 1) << text;
            list[last % 32] = text;
            last = last % 32 + 1;
            stored++;
        }
        for (std::size_t id = 0; id < 32 && !list[id].empty(); id++) {
            EXPECT_EQ(file.at(id).text, list[id]) << id + 1;
            if (id >= last) continue;
            EXPECT_EQ(call("sms_get", {{"id", std::to_string(id + 1)}})["text"], list[id]);
        }
        for (const std::string &command : commands(since))
            for (std::size_t place = 1; place <= sent.size(); place++)
                EXPECT_TRUE(command != "AT+CMGD=" + std::to_string(place) ||
                            found[sent[place - 1]] == 1)
                    << sent[place - 1] << " is lost";
        sent.clear();
    }

    std::mt19937 random;
    std::vector<pid_t> scripts;
    router_mark since;                 // of the recovery under way
    std::vector<std::string> sent;     // in it, by place in the modem
    std::array<std::string, 32> list;  // texts, as they have to be in the file
    std::size_t last = 0;              // that was stored
    int number = 0, stored = 0;
};

struct kind {
    const char *name;
    void (campaign::*strike)();
    bool isordered = true;  // another initialisation of the same process follows
    int places = 2;         // for messages before it
};
constexpr kind kinds[] = {
    {"ports vanished", &campaign::vanish},
    {"silence", &campaign::fallsilent},
    {"garbage", &campaign::babble},
    {"hang-up in a message", &campaign::hangup, true, 1},
    {"card away", &campaign::losecard},
    {"network service restarted", &campaign::restartnetwork, false},
    // These end the daemon.
    {"broker restarted", &campaign::restartbroker, false},
    {"daemon killed in a message", &campaign::killandstart, false, 1},
};
constexpr int mildest = 5;  // the last one that leaves the process alone

TEST(campaign, everyRecoveryEndsInOperation)
{
    const int count = static_cast<int>(environment("CAMPAIGN", ordinarycount));
    campaign router(seedof("CAMPAIGN_SEED"));
    std::map<std::string, int> done;
    process_usage first;
    int number = 0;
    for (; number < count && !testing::Test::HasFailure(); number++) {
        // The first half is one life of the daemon.
        const kind &next = kinds[router.upto(number < count / 2 ? mildest : mildest + 2)];
        SCOPED_TRACE(std::to_string(number) + " " + next.name);
        const std::string former = router.status(counterpath);
        router.since = router.mark();
        router.deliver(static_cast<std::size_t>(router.upto(next.places)));
        router.pause(60);
        (router.*next.strike)();
        EXPECT_TRUE(wait_until([&] { return router.iswell(next.isordered ? former : ""); }));
        router.expect_messages();
        done[next.name]++;
        if (number == count / 8) first = router.steadyusage();
        if (number != count / 2 - 1) continue;
        const process_usage now = router.expect_nomore(first, growth);
        std::cout << "in " << number - count / 8 << " recoveries of one process: descriptors "
                  << first.descriptors << " to " << now.descriptors << ", private memory "
                  << first.anonymous << " to " << now.anonymous << " KiB\n";
    }
    std::cout << number << " of " << count << " recoveries:";
    for (const auto &[name, times] : done)
        std::cout << " " << times << " " << name << ",";
    std::cout << " " << router.stored << " of " << router.number << " messages kept\n";
    EXPECT_GT(router.stored, count / 4);
}

}  // namespace
