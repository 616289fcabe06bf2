// SPDX-License-Identifier: ISC
// The modem on two ptys whose slaves are linked under the names that the router's kernel would give
// them. Runs on the event loop.
#pragma once

#include <array>
#include <optional>
#include <string>

#include <libubus.h>

#include "simulator/modem/model.h"

namespace simulator
{

struct device;

struct device_port : uloop_fd {
    device *owner = nullptr;
    port where = at_port;
    int slave = -1;  // kept open, so that the master never sees a hang-up
    std::string link;
    std::string unwritten;  // what the terminal had no room for
};

struct device_timer : uloop_timeout {
    device *owner = nullptr;
};

struct device {
    modem_model model;
    std::array<device_port, port_count> ports{};
    device_timer timer{};
    bool plugged = false;
    std::optional<std::string> cable;  // as it was last told
};

// The clock of the model.
milliseconds clocknow();
// Prepares the ports for a folder of links. The device stays in place from then on.
void preparedevice(device &modem, const std::string &folder);
// Opens the ptys and makes the links; false, with a text on standard error, when that fails.
bool plug(device &modem);
// Closes the ptys and removes the links.
void unplug(device &modem);
// Writes what is due, tells what the network interface has come to, and arms the timer for the
// rest. Needed after every change of the model.
void pump(device &modem);

}  // namespace simulator
