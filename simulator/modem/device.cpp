// SPDX-License-Identifier: ISC
// The modem on two ptys.
#include "simulator/modem/device.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

#include "core/record/paths.h"
#include "simulator/network/cable.h"

namespace simulator
{
namespace
{

constexpr const char *portpaths[port_count] = {modem_atportpath, modem_secondportpath};

// A terminal that nobody reads loses what the driver has no room for, too.
constexpr std::size_t maxunwritten = 65536;

// Writes as much as there is room for; the loop calls again for the rest.
void writeport(device_port &own)
{
    const ssize_t written = write(own.fd, own.unwritten.data(), own.unwritten.size());
    if (written > 0) own.unwritten.erase(0, static_cast<std::size_t>(written));
    (void)uloop_fd_add(&own, own.unwritten.empty() ? ULOOP_READ : ULOOP_READ | ULOOP_WRITE);
}

void readport(uloop_fd *watch, unsigned int)
{
    device_port &own = *static_cast<device_port *>(watch);
    device &modem = *own.owner;
    char input[512];
    const ssize_t length = read(own.fd, input, sizeof(input));
    if (length > 0)
        feed(modem.model, own.where, {input, static_cast<std::size_t>(length)}, clocknow());
    pump(modem);
}

void expire(uloop_timeout *timer)
{
    pump(*static_cast<device_timer *>(timer)->owner);
}

// The new file takes the place of the old one at once.
void tellcable(device &modem)
{
    std::optional<std::string> now;
    if (modem.plugged) now = hostaddress(modem.model);
    if (std::exchange(modem.cable, now) == now) return;
    if (!now) {
        (void)unlink(cable_path);  // as good when it is gone
        return;
    }
    const std::string fresh = std::string(cable_path) + ".new";
    std::ofstream(fresh) << *now;
    if (std::rename(fresh.c_str(), cable_path) != 0) std::perror("modem-simulator: cable");
}

bool openport(device_port &own)
{
    own.fd = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    char name[64];
    if (own.fd < 0 || grantpt(own.fd) != 0 || unlockpt(own.fd) != 0 ||
        ptsname_r(own.fd, name, sizeof(name)) != 0)
        return false;
    own.slave = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings;
    if (own.slave < 0 || tcgetattr(own.slave, &settings) != 0) return false;
    cfmakeraw(&settings);
    if (tcsetattr(own.slave, TCSANOW, &settings) != 0) return false;
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(own.link).parent_path(), error);
    std::filesystem::remove(own.link, error);
    std::filesystem::create_symlink(name, own.link, error);
    return !error && uloop_fd_add(&own, ULOOP_READ) == 0;
}

void closeport(device_port &own)
{
    (void)uloop_fd_delete(&own);
    if (own.slave >= 0) close(own.slave);
    if (own.fd >= 0) close(own.fd);
    own.slave = own.fd = -1;
    own.unwritten.clear();
    std::error_code error;  // a link that is already gone is as good
    std::filesystem::remove(own.link, error);
}

}  // namespace

milliseconds clocknow()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

void preparedevice(device &modem, const std::string &folder)
{
    modem.timer.owner = &modem;
    modem.timer.cb = expire;
    for (const port where : {at_port, second_port}) {
        device_port &own = modem.ports[where];
        own.owner = &modem;
        own.where = where;
        own.cb = readport;
        own.fd = -1;
        own.link =
            std::filesystem::path(folder) / std::filesystem::path(portpaths[where]).filename();
    }
}

bool plug(device &modem)
{
    powercycle(modem.model, clocknow());
    modem.plugged = true;
    for (device_port &own : modem.ports) {
        if (openport(own)) continue;
        std::fprintf(stderr, "modem-simulator: cannot open a port as %s\n", own.link.c_str());
        unplug(modem);
        return false;
    }
    pump(modem);  // it has something to say at once
    return true;
}

void unplug(device &modem)
{
    modem.plugged = false;
    for (device_port &own : modem.ports)
        closeport(own);
    tellcable(modem);
}

void pump(device &modem)
{
    const milliseconds now = clocknow();
    for (const port where : {at_port, second_port}) {
        device_port &own = modem.ports[where];
        own.unwritten += take(modem.model, where, now);
        if (!modem.plugged || own.unwritten.size() > maxunwritten) own.unwritten.clear();
    }
    tellcable(modem);  // before a reply lets the router ask for it
    for (device_port &own : modem.ports)
        if (!own.unwritten.empty()) writeport(own);
    (void)uloop_timeout_cancel(&modem.timer);  // fails when it is not armed
    const std::optional<milliseconds> next = nextdue(modem.model);
    // The loop's timers may fire a millisecond early.
    if (next)
        (void)uloop_timeout_set(&modem.timer,
                                static_cast<int>(std::max<milliseconds>(*next - now, 1)));
}

}  // namespace simulator
