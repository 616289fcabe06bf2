// A modem in a thread, and the daemon's clock and log in the test's hands.
#include "tests/daemon/bench.h"

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <syslog.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "at/port.h"
#include "at/timer.h"
#include "core/paths.h"
#include "core/pause.h"

namespace
{

std::mutex recordlock;  // over the two lists, which the worker's thread writes too
std::vector<std::string> loglines;
std::vector<unsigned> pauselist;
std::string silent;
unsigned realtimeout;
modem_state *bench_state;

simulator::milliseconds clock_now()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

int open_pty(const char *path)
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_NE(master, -1);
    EXPECT_EQ(grantpt(master), 0);
    EXPECT_EQ(unlockpt(master), 0);
    termios raw = {};
    EXPECT_EQ(tcgetattr(master, &raw), 0);
    cfmakeraw(&raw);
    EXPECT_EQ(tcsetattr(master, TCSANOW, &raw), 0);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::filesystem::remove(path);
    std::filesystem::create_symlink(ptsname(master), path);
    return master;
}

bool is_silent(const char *command)
{
    return !silent.empty() && std::string_view(command).starts_with(silent);
}

}  // namespace

extern "C" void syslog(int priority, const char *format, ...)
{
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    (void)std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    const std::lock_guard guard(recordlock);
    loglines.push_back(std::to_string(priority) + " " + text);
}

void modem_pause(unsigned ms)
{
    const std::lock_guard guard(recordlock);
    if (ms > 1) pauselist.push_back(ms);
}

void modem_pauseunless(std::uint32_t &, unsigned ms)
{
    modem_pause(ms);
}

int modem_settimer(int fd, unsigned ms)
{
    itimerspec timer = {};
    if (ms > 0 && is_silent(bench_state->atcmd)) {
        timer.it_value.tv_nsec = 1;
    } else if (ms > 0 && realtimeout > 0) {
        timer.it_value.tv_nsec = realtimeout * 1000000L;
    } else if (ms > 0) {
        timer.it_value.tv_sec = 600;
    }
    return timerfd_settime(fd, 0, &timer, nullptr);
}

int modem_resettimer(int fd)
{
    return modem_settimer(fd, 0);
}

modem_bench::modem_bench() : state(std::make_unique<modem_state>()), masters{-1, -1}
{
    loglines.clear();
    pauselist.clear();
    silent.clear();
    realtimeout = 0;
    bench_state = state.get();
    masters[0] = open_pty(modem_atportpath);
    masters[1] = open_pty(modem_secondportpath);
    wakeup = eventfd(0, EFD_CLOEXEC);
    state->fdcmd[0] = state->fdcmd[1] = state->fdcom = state->fdcom2 = -1;
    state->fdtimerat = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    state->fdtimerat2 = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    state->pollat[1] = {state->fdtimerat, POLLIN, 0};
    state->pollussd[1] = {state->fdtimerat2, POLLIN, 0};
    server = std::thread([this] { serve(); });
}

modem_bench::~modem_bench()
{
    eventfd_write(wakeup, 1);
    server.join();
    for (int *fd : {&state->fdcom, &state->fdcom2, &state->fdtimerat, &state->fdtimerat2,
                    &masters[0], &masters[1], &wakeup}) {
        modem_closefd(*fd);
    }
}

void modem_bench::serve()
{
    for (;;) {
        pollfd ports[] = {{masters[0], POLLIN, 0}, {masters[1], POLLIN, 0}, {wakeup, POLLIN, 0}};
        int wait = 1000;
        {
            const std::lock_guard guard(lock);
            if (const auto due = simulator::nextdue(model))
                wait = static_cast<int>(
                    std::clamp<simulator::milliseconds>(*due - clock_now(), 0, 1000));
        }
        (void)poll(ports, 3, wait);
        if (ports[2].revents != 0) return;
        const std::lock_guard guard(lock);
        for (std::size_t i = 0; i < 2; i++) {
            char octets[512];
            const ssize_t count = read(masters[i], octets, sizeof(octets));
            const auto where = static_cast<simulator::port>(i);
            if (count > 0) {
                simulator::feed(model, where, {octets, static_cast<std::size_t>(count)},
                                clock_now());
            } else if ((ports[i].revents & POLLHUP) != 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));  // nobody has it open
            }
            const std::string out = simulator::take(model, where, clock_now());
            if (!out.empty() && write(masters[i], out.data(), out.size()) < 0) continue;
        }
    }
}

void modem_bench::change(const std::function<void(simulator::modem_model &)> &with)
{
    const std::lock_guard guard(lock);
    with(model);
}

std::vector<std::string> modem_bench::commands(std::size_t count)
{
    std::vector<std::string> texts;
    for (int looks = 0; looks < 10000; looks++) {
        {
            const std::lock_guard guard(lock);
            texts.clear();
            for (const auto &command : model.commands)
                texts.push_back(command.text);
        }
        if (texts.size() >= count) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return texts;
}

std::vector<std::string> modem_bench::log()
{
    const std::lock_guard guard(recordlock);
    return loglines;
}

std::vector<unsigned> modem_bench::pauses()
{
    const std::lock_guard guard(recordlock);
    return pauselist;
}

void modem_bench::silence(const std::string &command)
{
    silent = command;
}

void modem_bench::timeout(unsigned ms)
{
    realtimeout = ms;
}

void modem_bench::configure(const std::string &text)
{
    std::filesystem::create_directories("/etc/config");
    std::filesystem::remove("/etc/config/kelvantorium");
    if (!text.empty()) std::ofstream("/etc/config/kelvantorium") << text;
}
