// SPDX-License-Identifier: ISC
// modem-simulator [--dir FOLDER]: the modem of the virtual router, on two ptys and the bus.
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "core/record/paths.h"
#include "simulator/modem/control.h"
#include "simulator/modem/device.h"

int main(int count, char **values)
{
    std::string folder = std::filesystem::path(modem_atportpath).parent_path();
    if (count == 3 && std::strcmp(values[1], "--dir") == 0) {
        folder = values[2];
    } else if (count != 1) {
        std::fprintf(stderr, "usage: %s [--dir FOLDER]\n", values[0]);
        return 2;
    }

    static simulator::device modem;
    if (uloop_init() != 0) return 1;
    ubus_context *bus = ubus_connect(modem_buspath);
    if (bus == nullptr) {
        std::fprintf(stderr, "modem-simulator: no bus at %s\n", modem_buspath);
        return 1;
    }
    (void)uloop_fd_add(&bus->sock, ULOOP_READ | ULOOP_BLOCKING);
    preparedevice(modem, folder);
    int status = 1;
    if (plug(modem) && offercontrol(*bus, modem)) {
        std::puts("ready");
        std::fflush(stdout);
        (void)uloop_run();  // gives the number of the signal that ended it
        status = 0;
    }
    unplug(modem);
    ubus_free(bus);
    uloop_done();
    return status;
}
