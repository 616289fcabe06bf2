// SPDX-License-Identifier: ISC
// modem-simulator [--profile FILE]: the modem of the virtual router, on two ptys and the bus.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/record/paths.h"
#include "simulator/membership.h"
#include "simulator/modem/control.h"
#include "simulator/modem/device.h"

namespace
{

simulator::device modem;

bool takeprofile(simulator::modem_profile &profile, const char *path)
{
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    if (!file) {
        std::fprintf(stderr, "modem-simulator: cannot read %s\n", path);
        return false;
    }
    const std::string wrong = readprofile(profile, text.str());
    if (!wrong.empty()) std::fprintf(stderr, "modem-simulator: %s: %s?\n", path, wrong.c_str());
    return wrong.empty();
}

}  // namespace

int main(int count, char **values)
{
    const std::string folder = std::filesystem::path(modem_atportpath).parent_path();
    if (count == 3 && std::strcmp(values[1], "--profile") == 0) {
        if (!takeprofile(modem.model.profile, values[2])) return 2;
    } else if (count != 1) {
        std::fprintf(stderr, "usage: %s [--profile FILE]\n", values[0]);
        return 2;
    }

    if (uloop_init() != 0) return 1;
    preparedevice(modem, folder);
    int status = 1;
    if (plug(modem) && join_bus([](ubus_context &bus) { return offercontrol(bus, modem); })) {
        std::puts("ready");
        std::fflush(stdout);
        (void)uloop_run();  // gives the number of the signal that ended it
        status = 0;
    } else {
        std::fprintf(stderr, "modem-simulator: no bus at %s\n", modem_buspath);
    }
    unplug(modem);
    leave_bus();
    uloop_done();
    return status;
}
