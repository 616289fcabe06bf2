// SPDX-License-Identifier: ISC
// Child processes: start, wait, stop.
#include "simulator/router/process.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <signal.h>
#include <sstream>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;

#ifndef ROUTER_TOOLS
#define ROUTER_TOOLS ""  // folder of the bus client, with a colon before it, where it is elsewhere
#endif

namespace
{

[[noreturn]] void become(std::vector<char *> &argv, const process_options &options)
{
    if (!options.ingroup) setpgid(0, 0);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    for (const int number : {SIGPIPE, SIGINT, SIGTERM, SIGCHLD, SIGTSTP})
        signal(number, SIG_DFL);
    if (options.keep >= 0) (void)fcntl(options.keep, F_SETFD, 0);
    if (!options.out.empty()) {
        const int fd = open(options.out.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        if (fd < 0 || dup2(fd, STDOUT_FILENO) < 0) _exit(126);
    }
    if (!options.folder.empty()) {
        const char *path = std::getenv("PATH");
        const std::string system = path != nullptr ? path : "/usr/bin:/bin";
        const std::string folders = options.folder + ROUTER_TOOLS + ":" + system;
        setenv("PATH", (folders + ":/usr/sbin:/sbin").c_str(), 1);
    }
    execvp(argv[0], argv.data());
    std::fprintf(stderr, "%s: %s\n", argv[0], std::strerror(errno));
    _exit(127);
}

std::chrono::milliseconds patient(std::chrono::milliseconds limit)
{
    const char *patience = std::getenv("VIRTUAL_ROUTER_PATIENCE");
    return patience == nullptr ? limit
                               : std::min(limit, std::chrono::milliseconds(std::atoi(patience)));
}

}  // namespace

bool wait_until(const std::function<bool()> &condition, std::chrono::milliseconds limit)
{
    const auto end = std::chrono::steady_clock::now() + patient(limit);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) return condition();
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

pid_t process_start(const std::vector<std::string> &argv, const process_options &options)
{
    std::vector<char *> pointers;
    for (const std::string &word : argv)
        pointers.push_back(const_cast<char *>(word.c_str()));
    pointers.push_back(nullptr);
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) become(pointers, options);
    return pid;
}

std::optional<int> process_wait(pid_t pid, std::chrono::milliseconds limit)
{
    int status = 0;
    const auto ended = [&] { return waitpid(pid, &status, WNOHANG) != 0; };
    // Sleeps: of hundreds of routers on a machine each waits for its command all the time.
    const int fd = limit > 0ms ? static_cast<int>(syscall(SYS_pidfd_open, pid, 0)) : -1;
    if (fd >= 0) {
        pollfd child = {fd, POLLIN, 0};
        while (poll(&child, 1, static_cast<int>(patient(limit).count())) < 0 && errno == EINTR) {
        }
        close(fd);
        limit = 0ms;
    }
    if (!wait_until(ended, limit)) return {};
    return status;
}

int process_stop(pid_t pid, int signal, std::chrono::milliseconds limit)
{
    kill(pid, signal);
    if (const auto status = process_wait(pid, limit)) return *status;
    kill(pid, SIGKILL);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

std::string process_endtext(int status)
{
    if (WIFEXITED(status)) return "exit status " + std::to_string(WEXITSTATUS(status));
    const int number = WTERMSIG(status);
    return "signal " + std::to_string(number) + " (" + strsignal(number) + ")";
}

std::vector<std::string> words_of(const std::string &text)
{
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

std::string read_file(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void write_file(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}
