// SPDX-License-Identifier: ISC
// A record whose two ports are ends of socket pairs: replies are laid down in advance, one to a
// read, and commands are picked up afterwards.
#pragma once

#include <memory>
#include <string>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include "core/record/state.h"

struct rig {
    std::unique_ptr<modem_state> state = std::make_unique<modem_state>();
    int modem = -1;        // the other end of the AT port
    int modemsecond = -1;  // and of the second one

    rig()
    {
        connect(state->fdcom, state->fdtimerat, state->pollat, modem);
        connect(state->fdcom2, state->fdtimerat2, state->pollussd, modemsecond);
        state->ismodemconnect = state->ismodemconnect2 = 1;
    }
    ~rig()
    {
        for (const int fd :
             {modem, modemsecond, state->fdcom, state->fdcom2, state->fdtimerat, state->fdtimerat2})
            close(fd);
    }
    rig(const rig &) = delete;
    rig &operator=(const rig &) = delete;

    void answer(const std::string &reply) const
    {
        (void)!send(modem, reply.data(), reply.size(), 0);
    }
    // The next command, or nothing.
    std::string command() const
    {
        char text[512];
        const ssize_t length = recv(modem, text, sizeof(text), 0);
        return {text, length > 0 ? static_cast<std::size_t>(length) : 0};
    }

private:
    static void connect(int &port, int &timer, pollfd (&polled)[2], int &other)
    {
        int ends[2] = {-1, -1};
        (void)socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends);
        port = ends[0];
        other = ends[1];
        timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK);
        polled[0] = {port, POLLIN, 0};
        polled[1] = {timer, POLLIN, 0};
    }
};
