// SPDX-License-Identifier: ISC
// What stays after long use: memory and descriptors, and who asks the heap after the start. The
// daemon without its waits runs through loads that would take hours otherwise.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>

#include "bench/heap.h"
#include "bench/table.h"
#include "simulator/modem/pdu.h"
#include "simulator/router/bus.h"
#include "simulator/router/process.h"

using namespace std::chrono_literals;

namespace
{

constexpr char section[] = "long use";

struct growth_router {
    router_parts parts{PROGRAMS};
    std::unique_ptr<bus_client> bus;

    pid_t daemon() const
    {
        return parts.pid(router_part::daemon);
    }
    std::string get(const char *path) const
    {
        return bus->call("kelvantorium", "get")[path];
    }
    std::string modem(const char *path) const
    {
        return bus->call("simulator", "state")[path];
    }
};

bool exchange(growth_router &router, std::size_t times)
{
    const auto count = [&] { return std::strtoul(router.modem("commands").c_str(), nullptr, 10); };
    const unsigned long end = count() + times;
    return wait_until([&] { return count() >= end; }, 300s);
}

bool get(growth_router &router, std::size_t times)
{
    for (std::size_t i = 0; i < times; i++)
        if (router.get("result") != "ok") return false;
    return true;
}

bool receive(growth_router &router, std::size_t times)
{
    simulator::message single;
    single.text = simulator::encode(single.how, "The quick brown fox jumps over the lazy dog");
    simulator::message half;
    half.how = simulator::coding::ucs2;
    half.text = simulator::encode(half.how, "Половина длинного сообщения");
    half.part = {.reference = 7, .count = 2, .number = 1};
    std::vector<std::string> pdus = {simulator::buildpdu(single), simulator::buildpdu(half)};
    half.part->number = 2;
    pdus.push_back(simulator::buildpdu(half));

    for (std::size_t done = 0; done < times;) {
        const auto reply =
            router.bus->call("simulator", "sms_pdu", {{"pdu", pdus[done % pdus.size()]}});
        if (!reply.ok()) return false;
        if (reply["index"] != "0")
            done++;
        else
            std::this_thread::sleep_for(1ms);  // the storage is full
    }
    return wait_until([&] {
        for (const auto &[path, value] : router.bus->call("simulator", "state").fields)
            if (path.starts_with("storage.messages.")) return false;
        return true;
    });
}

bool reinitialise(growth_router &router, std::size_t times)
{
    for (std::size_t i = 0; i < times; i++) {
        const std::string before = router.get("info.kelvantorium.reinit_counter");
        if (router.bus->call("kelvantorium", "reinit", {{"client", "bench"}})["result"] != "ok")
            return false;
        if (!wait_until([&] {
                return router.get("info.kelvantorium.reinit_counter") != before &&
                       router.get("info.kelvantorium.state") == "op";
            }))
            return false;
    }
    return true;
}

struct load_row {
    const char *name;
    std::size_t full;
    std::size_t quick;
    bool (*run)(growth_router &router, std::size_t times);
};
constexpr load_row loads[] = {
    {"exchanges", 100000, 5000, exchange},
    {"gets", 100000, 5000, get},
    {"messages", 10000, 500, receive},
    {"re-initialisations", 50, 10, reinitialise},
};

// The daemon without its waits, in operation, each load once behind it: what is touched for the
// first time stays. The configuration library has settled in the worker's heap after some six
// re-initialisations.
bool warmup(growth_router &router)
{
    if (!bench_startrouter(router.parts, section)) return false;
    router.bus = std::make_unique<bus_client>();
    (void)router.bus->call("simulator", "radio", {{"delay", 0}});
    if (!bench_startdaemon(router.parts, "kelvantorium-waitless", section)) return false;
    bool done = wait_until([&] { return router.get("info.network.state") == "connected"; });
    for (const load_row &load : loads)
        done = done && load.run(router, load.quick);
    if (!done) bench_nottaken(section, "the daemon does not get into operation");
    return done;
}

bool measure_growth(growth_router &router, const bench_options &options)
{
    const bench_usage first = bench_usageof(router.daemon());
    for (const load_row &load : loads) {
        const std::size_t times = options.times(load.full, load.quick);
        const std::string figure = "growth over " + std::to_string(times) + " " + load.name;
        const bench_usage before = bench_usageof(router.daemon());
        if (!load.run(router, times)) {
            bench_nottaken(figure, "the load did not come to its end");
            return false;
        }
        bench_print({.figure = figure,
                     .unit = "kB",
                     .beside = "before: " + bench_text(before.anonymous, "kB"),
                     .limit = 0},
                    bench_usageof(router.daemon()).anonymous - before.anonymous);
    }
    bench_print({.figure = "descriptors more after all of this",
                 .unit = "",
                 .beside = "before: " + bench_text(first.descriptors, ""),
                 .limit = 0},
                bench_usageof(router.daemon()).descriptors - first.descriptors);
    return true;
}

// A subscriber that is stopped once it has been told the whole status; -1 when it is not told.
pid_t start_stopped()
{
    constexpr char told[] = "/run/told";
    const pid_t pid = process_start({PROGRAMS "/ubus", "subscribe", "kelvantorium"}, {.out = told});
    if (!wait_until([&] { return !read_file(told).empty(); })) return -1;
    (void)kill(pid, SIGSTOP);
    return pid;
}

// Each message changes the counter, and is told of: two notifications.
bool measure_stopped(growth_router &router, const bench_options &options)
{
    constexpr std::size_t part = 500;
    const std::size_t times = options.times(10000, part);
    const std::string figure = std::to_string(times) + " messages, a subscriber stopped: ";
    double seconds[2] = {};
    double most = 0;
    double growth = 0;
    const pid_t broker = router.parts.pid(router_part::broker);
    const double before = bench_usageof(broker).anonymous;
    for (const bool isstopped : {false, true}) {
        const pid_t subscriber = isstopped ? start_stopped() : 0;
        if (subscriber < 0) return false;
        const double anonymous = bench_usageof(router.daemon()).anonymous;
        const double start = bench_now();
        bool done = true;
        for (std::size_t i = 0; i < times && done; i += part) {
            done = receive(router, part);
            most = std::max(most, bench_usageof(broker).anonymous);
        }
        seconds[isstopped ? 1 : 0] = bench_now() - start;
        growth = bench_usageof(router.daemon()).anonymous - anonymous;
        if (isstopped) {
            (void)kill(subscriber, SIGCONT);
            (void)process_stop(subscriber, SIGTERM, 5s);
        }
        if (!done) return false;
    }
    bench_print({.figure = figure + "their time over that without",
                 .unit = "",
                 .beside = "without: " + bench_text(seconds[0]),
                 .limit = 1.1},
                seconds[1] / seconds[0]);
    bench_print({.figure = figure + "growth of the daemon", .unit = "kB", .limit = 0}, growth);
    bench_print({.figure = figure + "most of the broker",
                 .unit = "kB",
                 .beside = "before: " + bench_text(before, "kB"),
                 .limit = 4096},
                most);
    return true;
}

// Shared with the daemon's counter of requests.
const heap_counts *share_counts()
{
    const int fd = open(HEAP_PATH, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0 || ftruncate(fd, sizeof(heap_counts)) != 0) return nullptr;
    void *shared = mmap(nullptr, sizeof(heap_counts), PROT_READ, MAP_SHARED, fd, 0);
    close(fd);
    return shared != MAP_FAILED ? static_cast<heap_counts *>(shared) : nullptr;
}

}  // namespace

void bench_growth(bench_options &options)
{
    const char *figure = "requests of the daemon to the heap after start";
    growth_router router;
    const heap_counts *counts = share_counts();
    if (counts == nullptr) return bench_nottaken(figure, "no file for the counts");
    if (!warmup(router)) return;
    // Once by itself it has asked, for its record: otherwise nobody counts.
    if (counts->requests[0] != 1) return bench_nottaken(figure, "the record was not seen");
    const heap_counts before = *counts;
    if (!measure_growth(router, options)) return;
    if (!measure_stopped(router, options))
        return bench_nottaken("a stopped subscriber",
                              "subscriber or messages did not come through");
    bench_row row = {.figure = figure, .unit = "", .beside = "of the libraries:", .limit = 0};
    for (std::size_t i = 1; i < HEAP_OTHERS; i++)
        row.beside += std::string(i > 1 ? ", " : " ") + (heap_owners[i] + 1) + " " +
                      std::to_string(counts->requests[i] - before.requests[i]);
    bench_print(row, static_cast<double>(counts->requests[0] - before.requests[0]));
}
