// A record whose AT port is one end of a socket pair: replies are laid down in advance, one to a
// read, and commands are picked up afterwards.
#pragma once

#include <memory>
#include <string>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include "core/state.h"

struct rig {
    std::unique_ptr<modem_state> state = std::make_unique<modem_state>();
    int peer = -1;

    rig()
    {
        int ends[2] = {-1, -1};
        (void)socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends);
        peer = ends[1];
        state->fdcom = ends[0];
        state->fdtimerat = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK);
        state->pollat[0] = {state->fdcom, POLLIN, 0};
        state->pollat[1] = {state->fdtimerat, POLLIN, 0};
        state->ismodemconnect = 1;
    }
    ~rig()
    {
        close(peer);
        close(state->fdcom);
        close(state->fdtimerat);
    }
    rig(const rig &) = delete;
    rig &operator=(const rig &) = delete;

    void answer(const std::string &reply) const
    {
        (void)!send(peer, reply.data(), reply.size(), 0);
    }
    // The next command, or nothing.
    std::string command() const
    {
        char text[512];
        const ssize_t length = recv(peer, text, sizeof(text), 0);
        return {text, length > 0 ? static_cast<std::size_t>(length) : 0};
    }
};
