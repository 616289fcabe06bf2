// SPDX-License-Identifier: ISC
// An AT exchange: the daemon's transaction, in this process, beside a bare one, with the simulated
// modem at the other end of the same port.
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <sys/timerfd.h>
#include <unistd.h>

#include "at/port.h"
#include "at/sendat.h"
#include "bench/table.h"
#include "core/record/descriptor.h"
#include "core/record/state.h"

namespace
{

constexpr char command[] = "AT+CPSI?";  // answered with some 110 characters
constexpr char commandline[] = "AT+CPSI?\r";
constexpr std::size_t blocksize = 100;  // exchanges per look at the processor clock

bool ispausing;

double processor_now()
{
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// The least that a program can do: write, poll, read until OK.
bool exchange_barely(modem_state &state)
{
    char reply[560];
    std::size_t length = 0;
    pollfd port = {state.fdcom, POLLIN, 0};
    if (write(port.fd, commandline, std::strlen(commandline)) < 0) return false;
    while (length < 4 || std::memcmp(reply + length - 4, "OK\r\n", 4) != 0) {
        if (poll(&port, 1, 5000) != 1) return false;
        const ssize_t count = read(port.fd, reply + length, sizeof(reply) - length);
        if (count <= 0 && errno != EAGAIN) return false;
        if (count > 0) length += static_cast<std::size_t>(count);
    }
    return true;
}

bool transact(modem_state &state)
{
    return modem_sendat(&state, command, modem_atok, modem_attimeout, 1) == 0;
}

bool open_port(modem_state &state)
{
    state.fdcom = state.fdcom2 = -1;
    state.fdtimerat = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    state.pollat[1] = {state.fdtimerat, POLLIN, 0};
    return modem_comport_connect(&state) == 0 &&
           modem_sendat(&state, "ATE0", modem_atok, 5000, 0) == 0;
}

struct exchange_times {
    bench_samples each;
    bench_samples processor;  // per exchange of a block
};

struct exchange_result {
    exchange_times bare;
    exchange_times daemon;  // without its pause
    bench_samples more;     // what it takes above the bare one just before
    exchange_times paused;
};

bool measure_blocks(modem_state &state,
                    bool (*exchange)(modem_state &),
                    std::size_t blocks,
                    exchange_times &times)
{
    bool done = true;
    for (std::size_t block = 0; done && block < blocks; block++) {
        const double start = bench_now();
        const double used = processor_now();
        for (std::size_t i = 0; done && i < blocksize; i++) {
            const double from = bench_now();
            done = exchange(state);
            times.each.add(from, bench_now());
        }
        times.processor.all.push_back({start, bench_now(), (processor_now() - used) / blocksize});
    }
    return done;
}

bool measure_all(modem_state &state, std::size_t blocks, exchange_result &result)
{
    exchange_times bare;
    bool done = open_port(state);
    for (std::size_t i = 0; done && i < blocks * blocksize; i++) {
        const double start = bench_now();
        done = exchange_barely(state);
        const double middle = bench_now();
        done = done && transact(state);
        const double end = bench_now();
        result.bare.each.add(start, middle);
        result.daemon.each.add(middle, end);
        result.more.all.push_back({start, end, end - middle - (middle - start)});
    }
    done = done && measure_blocks(state, exchange_barely, blocks, bare);
    result.bare.processor = bare.processor;
    ispausing = true;
    done = done && measure_blocks(state, transact, blocks, result.paused);
    ispausing = false;
    return done;
}

}  // namespace

// The daemon's own pause, void modem_pause(unsigned), is behind a switch at link time.
extern "C" {
void __real__Z11modem_pausej(unsigned ms);
void __wrap__Z11modem_pausej(unsigned ms);
}

void __wrap__Z11modem_pausej(unsigned ms)
{
    if (ispausing) __real__Z11modem_pausej(ms);
}

void bench_exchange(bench_options &options)
{
    router_parts parts(PROGRAMS);
    if (!bench_startrouter(parts, "AT exchange")) return;
    const auto state = std::make_unique<modem_state>();
    exchange_result result;
    const int table = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    bench_raise(0, true);
    const bool done = measure_all(*state, options.times(100, 8), result);
    bench_raise(0, false);
    dup2(table, STDOUT_FILENO);
    for (int fd : {table, nowhere, state->fdcom, state->fdcom2, state->fdtimerat})
        modem_closefd(fd);
    if (!done) return bench_nottaken("AT exchange", "an exchange failed");

    const bench_samples &bare = result.bare.each;
    options.bare = bare.at();
    bench_print({.figure = "AT exchange without its 1 ms pause",
                 .beside = "bare program: " + bench_text(bare.at()) + ", " +
                           bench_text(bare.at(0.99)) + " 99%"},
                result.daemon.each);
    bench_print({.figure = "  more than the bare one", .limit = 10e-6}, result.more);
    bench_print({.figure = "AT exchange with its pause",
                 .beside = "floor: 1 ms and the bare program",
                 .limit = 1.2e-3,
                 .limit99 = 1.7e-3},
                result.paused.each);
    bench_print({.figure = "  processor time",
                 .beside = "bare program: " + bench_text(result.bare.processor.at()),
                 .limit = 80e-6},
                result.paused.processor);
}
