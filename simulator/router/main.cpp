// SPDX-License-Identifier: ISC
// router: runs the daemon among broker, network service, modem simulator and log collector in a
// sandbox, and a command or a shell beside them.
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <getopt.h>
#include <signal.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "simulator/router/listen.h"
#include "simulator/router/parts.h"
#include "simulator/router/process.h"
#include "simulator/sandbox.h"

using namespace std::chrono_literals;

namespace
{

constexpr char pidpath[] = "/run/kelvantorium.pid";  // the daemon's, for commands
constexpr char usage[] =
    "usage: router [options] [command [arguments]]\n"
    "  --config FILE           the settings package instead of the default one\n"
    "  --modem FILE            the modem's profile\n"
    "  --daemon PATH           the daemon's program\n"
    "  --daemon-prefix WORDS   put in front of it, e.g. an emulator\n"
    "  --broker PATH           the bus broker's program\n"
    "  --listen ADDRESS:PORT   the web server, at a port of this machine (0: any that is free)\n"
    "  --no-daemon --no-network --no-modem\n"
    "Without a command: an interactive shell.\n";

struct router_options {
    std::string config = router_defaultconfig;
    std::string modem;  // text of its profile
    std::string daemon;
    std::string prefix;
    std::string broker;
    int listener = -1;  // socket of the web server, from outside the sandbox
    bool use[router_partcount] = {true, true, true, true, true, false};
    std::vector<std::string> command;
};

volatile sig_atomic_t stopsignal = 0;

bool readoptions(int argc, char **argv, router_options &options)
{
    static const option names[] = {
        {"config", required_argument, nullptr, 'c'},
        {"modem", required_argument, nullptr, 'm'},
        {"daemon", required_argument, nullptr, 'd'},
        {"daemon-prefix", required_argument, nullptr, 'p'},
        {"broker", required_argument, nullptr, 'b'},
        {"listen", required_argument, nullptr, 'l'},
        {"no-daemon", no_argument, nullptr, 'D'},
        {"no-network", no_argument, nullptr, 'N'},
        {"no-modem", no_argument, nullptr, 'M'},
        {nullptr, 0, nullptr, 0},
    };
    for (int letter = 0; (letter = getopt_long(argc, argv, "+", names, nullptr)) != -1;) {
        switch (letter) {
            case 'c':
            case 'm':
                if (access(optarg, R_OK) != 0) {
                    std::perror(optarg);
                    return false;
                }
                (letter == 'c' ? options.config : options.modem) = read_file(optarg);
                break;
            case 'd':
                options.daemon = optarg;
                break;
            case 'p':
                options.prefix = optarg;
                break;
            case 'b':
                options.broker = optarg;
                break;
            case 'l':
                options.listener = listen_at(optarg);
                if (options.listener < 0) return false;
                options.use[static_cast<int>(router_part::web)] = true;
                break;
            case 'D':
                options.use[static_cast<int>(router_part::daemon)] = false;
                break;
            case 'N':
                options.use[static_cast<int>(router_part::network)] = false;
                break;
            case 'M':
                options.use[static_cast<int>(router_part::modem)] = false;
                break;
            default:
                std::fputs(usage, stderr);
                return false;
        }
    }
    options.command.assign(argv + optind, argv + argc);
    return true;
}

std::string programfolder()
{
    char path[PATH_MAX] = {};
    if (readlink("/proc/self/exe", path, sizeof path - 1) < 0) return ".";
    const std::string program = path;
    return program.substr(0, program.rfind('/'));
}

// Runs the command to its end, or to ours.
int runcommand(std::vector<std::string> command, const std::string &folder)
{
    if (command.empty()) {
        setenv("PS1", "router# ", 1);
        command = {"/bin/sh", "-i"};
        if (access("/bin/bash", X_OK) == 0) command = {"/bin/bash", "--norc", "-i"};
    }
    const pid_t pid = process_start(command, {.ingroup = true, .folder = folder});
    for (;;) {
        if (const auto status = process_wait(pid, 100ms))
            return WIFEXITED(*status) ? WEXITSTATUS(*status) : 128 + WTERMSIG(*status);
        if (stopsignal == 0) continue;
        (void)process_stop(pid, stopsignal, 2s);
        return 128 + stopsignal;
    }
}

int runrouter(const router_options &options, const std::string &folder)
{
    router_parts parts(folder);
    std::vector<std::string> daemon = words_of(options.prefix);
    daemon.push_back(options.daemon.empty() ? folder + "/kelvantorium" : options.daemon);
    parts.setcommand(router_part::daemon, daemon);
    if (!options.modem.empty()) parts.setprofile(options.modem);
    if (options.listener >= 0) parts.setlistener(options.listener);
    if (!options.broker.empty()) parts.setcommand(router_part::broker, {options.broker});

    for (std::size_t number = 0; number < router_partcount; number++) {
        if (!options.use[number] || parts.start(static_cast<router_part>(number))) continue;
        std::fprintf(stderr, "router: %s\n", parts.error().c_str());
        return 1;
    }
    if (options.use[static_cast<int>(router_part::daemon)])
        write_file(pidpath, std::to_string(parts.pid(router_part::daemon)) + "\n");
    int result = runcommand(options.command, folder);
    // Ctrl-C does not wait for a modem: the sandbox ends, and everybody in it.
    if (stopsignal == SIGINT) _exit(result);
    // A running exchange with the modem is finished first, and it may wait for its time-out.
    if (const auto status = parts.stop(router_part::daemon, 120s)) {
        if (*status != 0) {
            std::fprintf(stderr, "router: daemon: %s\n", process_endtext(*status).c_str());
            if (result == 0) result = 1;
        }
    }
    for (std::size_t number = router_partcount; number-- > 0;)
        (void)parts.stop(static_cast<router_part>(number), 5s);
    return result;
}

}  // namespace

int main(int argc, char **argv)
{
    router_options options;
    if (!readoptions(argc, argv, options)) return 2;
    const std::string folder = programfolder();
    sandbox_enter();
    struct sigaction action = {};
    action.sa_handler = [](int number) { stopsignal = number; };
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        sigaction(number, &action, nullptr);
    signal(SIGTSTP, SIG_IGN);
    write_file(router_configpath, options.config);
    return runrouter(options, folder);
}
