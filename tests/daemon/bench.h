// The daemon's own functions against a simulated modem in the same process: for what the real
// binary would take too long to show.
//
// Ports lie at their true paths, so this runs in the sandbox. Fixed waits pass at once, and an
// exchange times out only where the test says so, whatever the machine is busy with.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "core/state.h"
#include "simulator/modem/model.h"

struct bench_record;

class modem_bench
{
public:
    modem_bench();
    ~modem_bench();
    modem_bench(const modem_bench &) = delete;
    modem_bench &operator=(const modem_bench &) = delete;

    modem_state *record()
    {
        return state.get();
    }
    // The modem, between exchanges only.
    void change(const std::function<void(simulator::modem_model &)> &with);
    // What it received; waits for `count` commands when fewer have arrived yet.
    std::vector<std::string> commands(std::size_t count = 0);
    // The daemon's log lines so far, "3 init->error: ...".
    static std::vector<std::string> log();
    // Fixed waits so far, in ms.
    static std::vector<unsigned> pauses();
    // No command that begins like this is answered; its time-out comes at once. Empty: none.
    static void silence(const std::string &command);
    // Every exchange times out after so many ms, below 1000; 0: practically never.
    static void timeout(unsigned ms);
    // Writes the configuration package; empty removes it.
    static void configure(const std::string &text);

private:
    void serve();

    std::unique_ptr<modem_state> state;
    simulator::modem_model model;
    std::mutex lock;
    int masters[2];
    int wakeup;
    std::thread server;
};
