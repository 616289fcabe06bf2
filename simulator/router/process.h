// SPDX-License-Identifier: ISC
// Child processes of the virtual router, and waiting.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// Looks at `condition` every few milliseconds; its value at the end. VIRTUAL_ROUTER_PATIENCE in the
// environment (ms) shortens the limits for those who expect to wait in vain.
bool wait_until(const std::function<bool()> &condition,
                std::chrono::milliseconds limit = std::chrono::seconds(60));

struct process_options {
    std::string out{};     // file that standard output is appended to; empty: inherited
    bool ingroup = false;  // stay in the caller's process group, reached by the terminal's signals
    std::string folder{};  // put in front of PATH
    int keep = -1;         // a descriptor that the program inherits although it is close-on-exec
};

// Starts a program, found by PATH, with clean signal settings. -1 when it cannot be started.
pid_t process_start(const std::vector<std::string> &argv, const process_options &options = {});

// The wait status once the child has ended within `limit`.
std::optional<int> process_wait(pid_t pid, std::chrono::milliseconds limit);

// Sends `signal`, then SIGKILL to a child that has not ended within `limit`. Its wait status.
int process_stop(pid_t pid, int signal, std::chrono::milliseconds limit);

// "exit status 255", "signal 9 (Killed)"
std::string process_endtext(int status);

// The words of a text, separated by blanks.
std::vector<std::string> words_of(const std::string &text);

// The content of a file; empty when it cannot be read.
std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &text);
