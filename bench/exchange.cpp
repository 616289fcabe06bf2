// An AT exchange: the daemon's transaction, in this process, beside a bare one in C, with the
// simulated modem at the other end of the same port.
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <sys/timerfd.h>
#include <thread>
#include <unistd.h>

#include "at/port.h"
#include "at/sendat.h"
#include "bench/bare.h"
#include "bench/sections.h"
#include "bench/table.h"
#include "core/state.h"

namespace
{

constexpr char command[] = "AT+CPSI?";  // answered with some 110 characters
constexpr char commandline[] = "AT+CPSI?\r";
constexpr std::size_t blocksize = 100;  // exchanges per look at the processor clock

bool ispausing;

// Standard output while traces are printed: they never reach the table.
class trace_target
{
public:
    explicit trace_target(int fd)
    {
        std::fflush(stdout);
        kept = dup(STDOUT_FILENO);
        dup2(fd, STDOUT_FILENO);
    }
    ~trace_target()
    {
        dup2(kept, STDOUT_FILENO);
        close(kept);
    }
    trace_target(const trace_target &) = delete;
    trace_target &operator=(const trace_target &) = delete;

private:
    int kept;
};

double processor_now()
{
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

bool openport(modem_state &state)
{
    state.fdcom = state.fdcom2 = -1;
    state.fdtimerat = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    state.pollat[1] = {state.fdtimerat, POLLIN, 0};
    return modem_comport_connect(&state) == 0 &&
           modem_sendat(&state, "ATE0", modem_atok, 5000, 0) == 0;
}

bool transact(modem_state &state)
{
    return modem_sendat(&state, command, modem_atok, modem_attimeout, 1) == 0;
}

struct exchange_times {
    bench_samples bare;
    bench_samples daemon;
    bench_samples more;  // what the daemon takes above the bare exchange beside it
    bench_samples bareprocessor;
};

bool measure_alternating(modem_state &state, std::size_t blocks, exchange_times &times)
{
    for (std::size_t i = 0; i < blocks * blocksize; i++) {
        const double start = bench_now();
        if (bare_exchange(state.fdcom, commandline) != 0) return false;
        const double middle = bench_now();
        if (!transact(state)) return false;
        const double end = bench_now();
        times.bare.add(start, middle);
        times.daemon.add(middle, end);
        times.more.add(start, end, end - middle - (middle - start));
    }
    for (std::size_t block = 0; block < blocks; block++) {
        const double start = bench_now();
        const double used = processor_now();
        for (std::size_t i = 0; i < blocksize; i++)
            if (bare_exchange(state.fdcom, commandline) != 0) return false;
        times.bareprocessor.add(start, bench_now(), (processor_now() - used) / blocksize);
    }
    return true;
}

struct paused_times {
    bench_samples each;
    bench_samples processor;
};

bool measure_paused(modem_state &state, std::size_t blocks, paused_times &times)
{
    ispausing = true;
    bool done = true;
    for (std::size_t block = 0; done && block < blocks; block++) {
        const double start = bench_now();
        const double used = processor_now();
        for (std::size_t i = 0; done && i < blocksize; i++) {
            const double from = bench_now();
            done = transact(state);
            times.each.add(from, bench_now());
        }
        times.processor.add(start, bench_now(), (processor_now() - used) / blocksize);
    }
    ispausing = false;
    return done;
}

// The same with somebody at the other end of the traces.
bool measure_traced(modem_state &state, std::size_t blocks, paused_times &times)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return false;
    std::thread reader([from = ends[0]] {
        bench_raise(0, false);
        char text[4096];
        while (read(from, text, sizeof(text)) > 0) {
        }
    });
    bool done = false;
    {
        const trace_target traces(ends[1]);
        done = measure_paused(state, blocks, times);
    }
    close(ends[1]);
    reader.join();
    close(ends[0]);
    return done;
}

void print_all(const exchange_times &free, const paused_times &paused, const paused_times &traced)
{
    const std::string bare = "bare C program: " + bench_text(free.bare.median()) + ", " +
                             bench_text(free.bare.highest99()) + " 99%";
    const std::string processor = "bare C program: " + bench_text(free.bareprocessor.median());
    bench_print({.figure = "AT exchange without its 1 ms pause", .beside = bare}, free.daemon);
    bench_print({.figure = "  more than the bare one", .limit = 10e-6}, free.more);
    bench_print({.figure = "AT exchange with its pause",
                 .beside = "floor: 1 ms and the bare one",
                 .limit = 1.2e-3,
                 .limit99 = 1.7e-3},
                paused.each);
    bench_print(
        {.figure = "  processor time, trace thrown away", .beside = processor, .limit = 80e-6},
        paused.processor);
    bench_print({.figure = "  processor time, trace read through a pipe", .limit = 80e-6},
                traced.processor);
}

}  // namespace

extern "C" {
void __real__Z11modem_pausej(unsigned ms);
void __wrap__Z11modem_pausej(unsigned ms);
}

void __wrap__Z11modem_pausej(unsigned ms)
{
    if (ispausing) __real__Z11modem_pausej(ms);
}

void bench_exchange(const bench_options &options, bench_floor &floor)
{
    const char *figure = "AT exchange";
    router_parts parts(PROGRAMS);
    if (!bench_startrouter(parts, figure)) return;
    const auto state = std::make_unique<modem_state>();
    exchange_times free;
    paused_times paused;
    paused_times traced;
    const std::size_t blocks = options.times(100, 8);
    bool done = openport(*state);
    bench_raise(0, true);
    {
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        const trace_target traces(nowhere);
        close(nowhere);
        done = done && measure_alternating(*state, blocks, free) &&
               measure_paused(*state, blocks, paused);
    }
    done = done && measure_traced(*state, options.times(40, 4), traced);
    bench_raise(0, false);
    for (int *fd : {&state->fdcom, &state->fdcom2, &state->fdtimerat})
        modem_closefd(*fd);
    if (!done) {
        bench_nottaken(figure, "an exchange failed");
        return;
    }
    floor.bare = free.bare.median();
    print_all(free, paused, traced);
}
