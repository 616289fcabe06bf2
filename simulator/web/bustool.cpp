// SPDX-License-Identifier: ISC
// Bus calls through the command line client.
#include "simulator/web/bustool.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace
{

// Runs `ubus` and collects its standard output.
bus_answer runtool(const std::vector<std::string> &words)
{
    bus_answer answer = {255, ""};
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return answer;
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
    char chunk[4096];
    for (ssize_t got = 0; error == 0 && (got = read(ends[0], chunk, sizeof chunk)) != 0;) {
        if (got > 0) answer.reply.append(chunk, static_cast<std::size_t>(got));
        if (got < 0 && errno != EINTR) break;
    }
    close(ends[0]);
    int status = 0;
    while (error == 0 && waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (error == 0 && WIFEXITED(status)) answer.status = WEXITSTATUS(status);
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
