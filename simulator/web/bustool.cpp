// SPDX-License-Identifier: ISC
// Bus calls through the command line client.
#include "simulator/web/bustool.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace
{

// Starts `ubus`, its standard output at the other end of `out`; -1 when that fails.
pid_t starttool(const std::vector<std::string> &words, int &out)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return -1;
    std::vector<char *> argv;
    for (const std::string &word : words)
        argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    pid_t pid = -1;
    const int error = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    out = ends[0];
    if (error == 0) return pid;
    close(out);
    return -1;
}

// The wait status.
int awaittool(pid_t pid)
{
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

// Runs `ubus` and collects its standard output.
bus_answer runtool(const std::vector<std::string> &words)
{
    bus_answer answer = {255, ""};
    int out = -1;
    const pid_t pid = starttool(words, out);
    if (pid < 0) return answer;
    char chunk[4096];
    for (ssize_t got = 0; (got = read(out, chunk, sizeof chunk)) != 0;) {
        if (got > 0) answer.reply.append(chunk, static_cast<std::size_t>(got));
        if (got < 0 && errno != EINTR) break;
    }
    close(out);
    const int status = awaittool(pid);
    if (WIFEXITED(status)) answer.status = WEXITSTATUS(status);
    while (answer.reply.ends_with('\n'))
        answer.reply.pop_back();
    return answer;
}

// The client's words for types, as the web server spells them.
std::string spelltypes(std::string line)
{
    static constexpr std::pair<const char *, const char *> words[] = {
        {":\"String\"", ":\"string\""},   {":\"Integer\"", ":\"number\""},
        {":\"Boolean\"", ":\"boolean\""}, {":\"Array\"", ":\"array\""},
        {":\"Table\"", ":\"object\""},
    };
    for (const auto &[theirs, ours] : words) {
        for (std::size_t at = 0; (at = line.find(theirs, at)) != std::string::npos;)
            line.replace(at, std::strlen(theirs), ours);
    }
    return line;
}

}  // namespace

bus_answer bus_call(const std::string &object,
                    const std::string &method,
                    json_object *arguments,
                    int timeout)
{
    constexpr int flags = JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE;
    return runtool({"ubus", "-S", "-t", std::to_string(timeout), "call", object, method,
                    json_object_to_json_string_ext(arguments, flags)});
}

bool bus_has(const std::string &object)
{
    return object.find('*') == std::string::npos &&
           runtool({"ubus", "-S", "list", object}).status == 0;
}

std::string bus_list(const std::string &pattern)
{
    // 'NAME' @ID, and below it a line "METHOD":{ARGUMENTS} each
    std::istringstream lines(runtool({"ubus", "-v", "list", pattern}).reply);
    std::string json;
    bool first = true;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t quote = line.find('\'', 1);
        if (line.starts_with('\'') && quote != std::string::npos) {
            json += (json.empty() ? "\"" : "},\"") + line.substr(1, quote - 1) + "\":{";
            first = true;
        } else if (line.starts_with("\t\"")) {
            json += (first ? "" : ",") + spelltypes(line.substr(1));
            first = false;
        }
    }
    return "{" + json + (json.empty() ? "" : "}") + "}";
}

bus_lines::bus_lines(const std::string &object) : pid(starttool({"ubus", "subscribe", object}, out))
{
}

bus_lines::~bus_lines()
{
    if (pid < 0) return;
    close(out);
    (void)kill(pid, SIGTERM);
    (void)awaittool(pid);
}

bus_lines::outcome bus_lines::next(std::string &line, int timeout)
{
    std::size_t length = 0;
    while ((length = text.find('\n')) == std::string::npos) {
        pollfd wait = {out, POLLIN, 0};
        if (pid < 0) return end;
        if (poll(&wait, 1, timeout) <= 0) return none;
        char chunk[4096];
        const ssize_t got = read(out, chunk, sizeof chunk);
        if (got <= 0) return end;
        text.append(chunk, static_cast<std::size_t>(got));
    }
    line = text.substr(0, length);
    text.erase(0, length + 1);
    return one;
}
