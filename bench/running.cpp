// SPDX-License-Identifier: ISC
// The daemon as it runs: start, passes and the requests that wait for them, processor time, memory,
// and the bus while the poll idles.
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <thread>
#include <unistd.h>

#include <libubus.h>

#include "bench/table.h"
#include "simulator/router/bus.h"
#include "simulator/router/process.h"

using namespace std::chrono_literals;

namespace
{

constexpr char section[] = "the running daemon";
constexpr double fixedwaits = 11;  // s before "op": 1 before the GNSS mode, twice 5 in the script
constexpr double exchangepause = 1e-3;  // s
constexpr int passcommands = 5;         // of a steady pass, those for the storage apart

// Calls as cheap as a client can make them: the object looked up once, replies thrown away.
class bare_client
{
public:
    bare_client() : bus(ubus_connect(nullptr), ubus_free)
    {
        uloop_done();
    }
    // Octets of the last reply.
    unsigned size() const
    {
        return replysize;
    }
    bool call(const char *object, const char *method, bench_samples &times)
    {
        std::uint32_t &id = object[0] == 'k' ? daemon : peer;
        if (bus == nullptr || (id == 0 && ubus_lookup_id(bus.get(), object, &id) != 0))
            return false;
        const double start = bench_now();
        const int status = ubus_invoke(bus.get(), id, method, empty(), takereply, this, 60000);
        times.add(start, bench_now());
        return status == 0;
    }

private:
    static void takereply(ubus_request *request, int, blob_attr *reply)
    {
        static_cast<bare_client *>(request->priv)->replysize =
            static_cast<unsigned>(blob_len(reply));
    }
    static blob_attr *empty()
    {
        static blob_buf message;
        if (message.head == nullptr) blob_buf_init(&message, 0);
        return message.head;
    }
    std::unique_ptr<ubus_context, void (*)(ubus_context *)> bus;
    std::uint32_t daemon = 0;
    std::uint32_t peer = 0;
    unsigned replysize = 0;
};

struct running_router {
    router_parts parts{PROGRAMS};
    std::unique_ptr<bus_client> bus;
    bench_options options;

    pid_t daemon() const
    {
        return parts.pid(router_part::daemon);
    }
    double commands() const  // that the modem has received
    {
        return std::strtod(bus->call("simulator", "state")["commands"].c_str(), nullptr);
    }
    bool becomes(const char *path, const char *value) const
    {
        return wait_until([&] { return bus->call("kelvantorium", "get")[path] == value; });
    }
};

// From the program's start to the log line that tells of "op".
bool measure_start(running_router &router, bench_samples &times)
{
    const std::size_t before = read_file(router_logpath).size();
    const double start = bench_now();
    if (!bench_startdaemon(router.parts, "kelvantorium-shared", section)) return false;
    std::this_thread::sleep_for(10s);
    while (read_file(router_logpath).find("init->op: init done ok", before) == std::string::npos) {
        if (bench_now() - start > 60) return false;
        std::this_thread::sleep_for(1ms);
    }
    // Hiccups during the fixed waits change nothing, so none is looked for.
    times.all.push_back({start, start, bench_now() - start - fixedwaits});
    return true;
}

bool measure_starts(running_router &router)
{
    bench_samples starts;
    for (std::size_t i = 0; i < router.options.times(3, 1); i++) {
        if (i > 0) (void)router.parts.kill(router_part::daemon);
        if (!measure_start(router, starts)) return false;
    }
    bench_print({.figure = "start to \"op\", less 11 s of fixed waits"}, starts);
    return true;
}

// Requests without end: each pass catches one at its very beginning and keeps it to its end.
bool measure_pass(running_router &router,
                  int capacity,
                  std::size_t passes,
                  const char *condition = "")
{
    (void)router.bus->call("simulator", "storage", {{"capacity", capacity}});
    const int expected = passcommands + capacity;
    bare_client client;
    bench_samples waits;
    double before = 0;
    std::size_t others =
        0;  // the pass that the change has cut, and waits that were not the daemon's
    while (waits.all.size() < passes) {
        bench_samples one;
        if (!client.call("kelvantorium", "get", one)) return false;
        const bench_sample &sample = one.all.front();
        if (sample.value < expected * exchangepause) continue;
        const double after = router.commands();
        const double commands = after - before;
        before = after;
        if (commands == expected) {
            waits.all.push_back(sample);
        } else if (others++ == passes) {
            bench_nottaken("steady pass", bench_text(commands, "") + " commands");
            return true;
        }
    }
    const double least = expected * (router.options.bare + exchangepause);
    bench_row row = {.figure = "pass of 5 + " + std::to_string(capacity) +
                               " commands, longest wait of a get" + condition,
                     .beside = "floor: bare exchanges and pauses: " + bench_text(least)};
    if (capacity == 40) row.limit = 54e-3;
    bench_print(row, waits);
    return true;
}

// While nobody asks. A stolen core counts as used by whoever runs, hence the samples.
void measure_processor(running_router &router, std::size_t passes, const char *condition = "")
{
    bench_samples times;
    for (std::size_t i = 0; i < passes; i++) {
        const double start = bench_now();
        const double commands = router.commands();
        const double used = bench_usageof(router.daemon()).seconds;
        std::this_thread::sleep_for(1300ms);
        const double time = bench_usageof(router.daemon()).seconds - used;
        times.all.push_back({start, bench_now(), time / (router.commands() - commands)});
    }
    bench_print(
        {.figure = std::string("processor time per command of the running poll") + condition,
         .limit = 80e-6},
        times);
}

// A silent port ends in "error", where the poll idles; the status keeps its texts.
bool enter_error(running_router &router)
{
    (void)router.bus->call("simulator", "unplug");
    if (router.becomes("info.kelvantorium.state", "error")) return true;
    bench_nottaken(section, "no error without a modem");
    return false;
}

void measure_idle(running_router &router)
{
    const double start = bench_now();
    const double used = bench_usageof(router.daemon()).seconds;
    std::this_thread::sleep_for(std::chrono::seconds(router.options.times(60, 4)));
    const double share =
        (bench_usageof(router.daemon()).seconds - used) / (bench_now() - start) * 100;
    bench_print({.figure = "idle in \"error\": share of one core", .unit = "%", .limit = 0.05},
                share);
}

struct method_row {
    const char *object;
    const char *method;
    const char *shown;
};
// Called in turn, so that the machine treats all alike.
constexpr method_row methods[] = {
    {"bench", "nothing", "do-nothing method: "},
    {"bench", "same", "; ready reply of the same size: "},
    {"kelvantorium", "get", nullptr},
};
constexpr std::size_t getrow = 2;

void measure_get(running_router &router, pid_t peer, bool pinned)
{
    bare_client client;
    bench_samples times[std::size(methods)];
    const pid_t together[] = {0, peer, router.daemon(), router.parts.pid(router_part::broker)};
    for (const pid_t process : together)
        bench_pin(process, pinned);
    bench_raise(peer, true);  // like with like
    bool done = true;
    for (std::size_t i = 0; i < router.options.times(20000, 2000); i++)
        for (std::size_t row = 0; row < std::size(methods); row++)
            done = done && client.call(methods[row].object, methods[row].method, times[row]);
    for (const pid_t process : together)
        bench_pin(process, false);
    bench_row row = {.figure = pinned ? "get, everybody on one core" : "get"};
    if (!done) return bench_nottaken(row.figure, "a call failed");
    if (pinned) row.limit99 = 100e-6;
    for (std::size_t i = 0; i < getrow; i++)
        row.beside += methods[i].shown + bench_text(times[i].at());
    bench_print(row, times[getrow]);
    const double get = times[getrow].at();
    bench_print({.figure = "  times the do-nothing method",
                 .unit = "",
                 .beside = "times the ready reply: " + bench_text(get / times[1].at(), ""),
                 .limit = 1.3},
                get / times[0].at());
}

void measure_memory(running_router &router, pid_t peer)
{
    const bench_usage own = bench_usageof(router.daemon());
    const bench_usage floor = bench_usageof(peer);
    bench_print({.figure = "private memory in \"op\"",
                 .unit = "kB",
                 .beside = "do-nothing bus program in C: " + bench_text(floor.privately, "kB"),
                 .limit = 450},
                own.privately);
    bench_print({.figure = "  of it backed by no file",
                 .unit = "kB",
                 .beside = "do-nothing bus program in C: " + bench_text(floor.anonymous, "kB")},
                own.anonymous);
}

// The same passes while somebody is subscribed, and nothing changes.
bool measure_subscribed(running_router &router)
{
    constexpr char condition[] = ", a subscriber";
    const pid_t reader =
        process_start({PROGRAMS "/ubus", "subscribe", "kelvantorium"}, {.out = "/dev/null"});
    const bool done = measure_pass(router, 40, router.options.times(60, 3), condition);
    (void)router.bus->call("simulator", "storage", {{"capacity", 255}});
    measure_processor(router, router.options.times(10, 3), condition);
    (void)process_stop(reader, SIGTERM, 5s);
    return done;
}

void measure_all(running_router &router, pid_t peer)
{
    if (!router.becomes("info.network.state", "connected"))
        return bench_nottaken(section, "no connection");
    const bench_options &options = router.options;
    if (!measure_pass(router, 10, options.times(20, 2)) ||
        !measure_pass(router, 40, options.times(60, 3)) ||
        !measure_pass(router, 255, options.times(20, 2)))
        return bench_nottaken("steady pass", "a get failed");
    measure_processor(router, options.times(10, 3));
    if (!measure_subscribed(router)) return bench_nottaken("with a subscriber", "a get failed");
    measure_memory(router, peer);
    if (!enter_error(router)) return;
    measure_idle(router);
    measure_get(router, peer, false);
    measure_get(router, peer, true);
}

}  // namespace

void bench_running(bench_options &options)
{
    running_router router;
    router.options = options;
    if (!bench_startrouter(router.parts, section)) return;
    router.bus = std::make_unique<bus_client>();
    if (!measure_starts(router)) return;
    bare_client client;
    bench_samples ignored;
    if (!client.call("kelvantorium", "get", ignored)) return bench_nottaken(section, "no answer");
    const pid_t peer = process_start({PROGRAMS "/bench/bench_peer", std::to_string(client.size())},
                                     {.out = "/dev/null"});
    if (wait_until([&] { return router.bus->has("bench"); }))
        measure_all(router, peer);
    else
        bench_nottaken(section, "the program beside it does not start");
    (void)process_stop(peer, SIGTERM, 5s);
}
