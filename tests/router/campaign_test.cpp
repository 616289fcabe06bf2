// SPDX-License-Identifier: ISC
// Recoveries chosen at random, each brought about by what does it in the field: the package's
// script on a clock that runs faster, and the service manager, whose part is played here. The
// daemon has to come back to "op" each time, without losing a message that has left the modem.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "tests/router/running.h"

namespace
{

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr long growthlimit = 65536;  // KiB; the sanitizers keep what was freed
constexpr int ordinarycount = 12;
#else
constexpr long growthlimit = 16;
constexpr int ordinarycount = 50;
#endif

constexpr char scriptpath[] = "/run/kelvantorium-reinit";

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
    campaign(unsigned seed)
        : running_router({.config = std::string(router_defaultconfig) +
                                    "config service 'service'\n\toption trace '0'\n",
                          .prefix = "env FAST_TIMEOUT=1000"}),
          random(seed)
    {
        makescript();
        watcher = runscript("watch");
    }
    ~campaign()
    {
        (void)process_stop(watcher, SIGKILL, std::chrono::seconds(1));
        for (const pid_t healer : healers)
            (void)process_stop(healer, SIGKILL, std::chrono::seconds(1));
    }

    int upto(int most)
    {
        return std::uniform_int_distribution<int>(0, most)(random);
    }
    void pause(int most)  // ms
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(upto(most)));
    }
    static pid_t runscript(const char *task)
    {
        return process_start({"sh", scriptpath, task, "campaign"}, {.folder = ROUTER_PROGRAMS});
    }

    void vanish();
    void fallsilent();
    void babble();
    void hangup();
    void losecard();
    void restartnetwork();
    void restartbroker();
    void killandstart();

    void deliver(std::size_t places);
    bool iswell(const std::string &former);
    void expect_messages();
    void expect_nomore(const process_usage &former, int recoveries);

    std::mt19937 random;
    pid_t watcher = -1;
    std::vector<pid_t> healers;
    router_mark since;                 // of the recovery under way
    std::vector<std::string> sent;     // in it, by place in the modem
    std::array<std::string, 32> list;  // texts, as they have to be in the file
    std::int32_t last = 0;
    int number = 0, stored = 0;
};

// The hot-plug script is started for each port that appears.
void campaign::vanish()
{
    arrange(*this, {{"unplug"}});
    pause(200);
    arrange(*this, {{"clear_faults"}, {"replug"}});
    for (int port = 0; port < 2; port++)
        healers.push_back(runscript("heal"));
}

void campaign::fallsilent()
{
    arrange(*this, {fault("AT", "silence", 1 + upto(1))});
}

// More than any buffer of the daemon holds.
void campaign::babble()
{
    const char *commands[] = {"AT+CADC", "AT+CGNSSINFO", "AT+COPS?", "AT+CPSI?"};
    const char *command = commands[upto(3)];
    arrange(*this, {{"fault",
                     {{"command", command},
                      {"kind", "reply"},
                      {"text", std::string(static_cast<std::size_t>(upto(100000)), '#')},
                      {"times", 1}}}});
    expect_silence(command);
}

void campaign::hangup()
{
    arrange(*this,
            {{"fault", {{"command", "AT+CMGR"}, {"kind", "split"}, {"chunk", 3}, {"delay", 2}}}});
    const router_mark now = mark();
    deliver(2);
    EXPECT_TRUE(receives("AT+CMGR=2", now));
    pause(80);
    vanish();
}

void campaign::losecard()
{
    arrange(*this, {{"sim", {{"slot", 1}, {"inserted", false}}}});
    EXPECT_TRUE(becomes(errorpath, "sim_removed"));
    pause(500);
    arrange(*this, {{"sim", {{"slot", 1}, {"inserted", true}}}});
}

void campaign::restartnetwork()
{
    (void)parts.kill(router_part::network);
    pause(50);
    EXPECT_TRUE(parts.start(router_part::network)) << parts.error();
}

// The daemon ends with it.
void campaign::restartbroker()
{
    (void)parts.kill(router_part::broker);
    (void)waitdaemon();
    pause(50);
    EXPECT_TRUE(parts.start(router_part::broker)) << parts.error();
    for (const char *object : {"simulator", "network.interface.usb0"})
        EXPECT_TRUE(wait_until([&] { return bus().has(object); })) << object;
    EXPECT_TRUE(startdaemon());
}

void campaign::killandstart()
{
    killdaemon();
    EXPECT_TRUE(startdaemon());
}

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
    {"daemon killed", &campaign::killandstart, false},
};
constexpr int mildest = 5;  // the last one that leaves the process alone

// Numbered messages, at places that nothing else of this recovery uses.
void campaign::deliver(std::size_t places)
{
    while (sent.size() < places) {
        sent.push_back("message " + std::to_string(++number));
        store(*this, sent.size(), plainpdu(sent.back()));
    }
}

// Initialised since, connected, and nothing left to read.
bool campaign::iswell(const std::string &former)
{
    const bus_reply now = call("get");
    return now[statepath] == "op" && now["info.network.state"] == "connected" &&
           now["info.kelvantorium.reinit_counter"] != former &&
           !modem("state").has("storage.messages.1") && !modem("state").has("storage.messages.2");
}

// The list goes on with messages of this recovery, each at most once; one that the daemon has taken
// from the modem is among them. Others were in the modem when it was initialised.
void campaign::expect_messages()
{
    const std::string image = read_file("/root/listsms.kelvantorium");
    std::int32_t now = last;
    if (image.size() == 31908) std::memcpy(&now, image.data(), sizeof now);
    std::map<std::string, int> found;
    while (last != now) {
        last = last % 32 + 1;
        const std::string text = &image.at(static_cast<std::size_t>(last - 1) * 997 + 40);
        EXPECT_TRUE(++found[text] == 1 && std::ranges::count(sent, text) == 1) << text;
        list[static_cast<std::size_t>(last - 1)] = text;
        stored++;
    }
    for (std::size_t id = 0; id < 32 && !list[id].empty(); id++) {
        EXPECT_EQ(&image.at(id * 997 + 40), list[id]) << id + 1;
        if (id >= static_cast<std::size_t>(last)) continue;
        EXPECT_EQ(call("sms_get", {{"id", std::to_string(id + 1)}})["text"], list[id]);
    }
    for (const std::string &command : commands(since))
        for (std::size_t place = 1; place <= sent.size(); place++)
            EXPECT_TRUE(command != "AT+CMGD=" + std::to_string(place) ||
                        found[sent[place - 1]] == 1)
                << sent[place - 1] << " is lost";
    sent.clear();
}

void campaign::expect_nomore(const process_usage &former, int recoveries)
{
    process_usage now = usage();
    now.descriptors = descriptors();
    EXPECT_EQ(now.descriptors, former.descriptors);
    EXPECT_EQ(now.threads, former.threads);
    EXPECT_LE(now.anonymous, former.anonymous + growthlimit);
    std::cout << "in " << recoveries << " recoveries of one process: descriptors "
              << former.descriptors << " to " << now.descriptors << ", private memory "
              << former.anonymous << " to " << now.anonymous << " KiB\n";
}

int environment(const char *name, int ordinary)
{
    const char *given = std::getenv(name);
    return given != nullptr ? std::atoi(given) : ordinary;
}

TEST(campaign, everyRecoveryEndsInOperation)
{
    const int count = environment("CAMPAIGN", ordinarycount);
    const int seed = environment("CAMPAIGN_SEED", static_cast<int>(std::random_device()() >> 1));
    std::cout << "CAMPAIGN_SEED=" << seed << "\n";
    campaign router(static_cast<unsigned>(seed));
    std::map<std::string, int> done;
    process_usage first;
    int number = 0;
    for (; number < count && !testing::Test::HasFailure(); number++) {
        // The first half is one life of the daemon.
        const kind &next = kinds[router.upto(number < count / 2 ? mildest : mildest + 2)];
        SCOPED_TRACE(std::to_string(number) + " " + next.name);
        const std::string former = router.status("info.kelvantorium.reinit_counter");
        router.since = router.mark();
        router.deliver(static_cast<std::size_t>(router.upto(next.places)));
        router.pause(60);
        (router.*next.strike)();
        EXPECT_TRUE(wait_until([&] { return router.iswell(next.isordered ? former : ""); }));
        router.expect_messages();
        done[next.name]++;
        if (number == count / 8) {
            first = router.usage();
            first.descriptors = router.descriptors();
        }
        if (number == count / 2 - 1) router.expect_nomore(first, number - count / 8);
    }
    std::cout << number << " of " << count << " recoveries:";
    for (const auto &[name, times] : done)
        std::cout << " " << times << " " << name << ",";
    std::cout << " " << router.stored << " of " << router.number << " messages kept\n";
    EXPECT_GT(router.stored, count / 4);
}

}  // namespace
