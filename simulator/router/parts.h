// SPDX-License-Identifier: ISC
// The programs that make up the virtual router, started, watched and stopped one by one.
#pragma once

#include <array>
#include <chrono>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// In the order in which they are started; stopped in the reverse order.
enum class router_part { log, broker, network, modem, daemon, web };
constexpr std::size_t router_partcount = 6;

constexpr char router_logpath[] = "/run/log/messages";
constexpr char router_outpath[] = "/run/kelvantorium.out";
constexpr char router_profilepath[] = "/run/modem.profile";
constexpr char router_weblogpath[] = "/run/web-server.out";
constexpr char router_configpath[] = "/etc/config/kelvantorium";

// The package with every option present: slot 1, GNSS on.
extern const char router_defaultconfig[];

class router_parts
{
public:
    // `folder` holds the programs.
    explicit router_parts(const std::string &folder);
    ~router_parts();  // kills what still runs
    router_parts(const router_parts &) = delete;
    router_parts &operator=(const router_parts &) = delete;

    // The program and its arguments instead of the default one.
    void setcommand(router_part part, const std::vector<std::string> &argv);

    // The modem's profile instead of the ordinary one: its text.
    void setprofile(const std::string &text);

    // The web server on a socket that listens already. Its log-ins are one for each group of the
    // access file: status, messages and admin, each with its name as the password.
    void setlistener(int fd);

    // Starts a part without waiting for it.
    bool launch(router_part part);
    // Starts it and waits until it does its work. On failure error() says why.
    bool start(router_part part);
    // SIGTERM, and SIGKILL after `limit`. The wait status; nothing when it did not run.
    std::optional<int> stop(router_part part,
                            std::chrono::milliseconds limit = std::chrono::seconds(30));
    std::optional<int> kill(router_part part);
    // Waits for the end that the part comes to by itself.
    std::optional<int> waitend(router_part part, std::chrono::milliseconds limit);

    bool running(router_part part);  // launched, and not ended as far as one can see
    pid_t pid(router_part part) const;
    const std::string &error() const
    {
        return errortext;
    }

private:
    struct process {
        std::vector<std::string> argv;
        int keep = -1;  // descriptor that the program inherits
        pid_t pid = -1;
        std::optional<int> status;  // of the last run
    };
    process &at(router_part part);

    std::string folder;
    std::array<process, router_partcount> processes;
    std::string errortext;
};
