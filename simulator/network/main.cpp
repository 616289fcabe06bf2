// SPDX-License-Identifier: ISC
// network-service: the router's network service as far as the daemon can see it. Object
// "network.interface.usb0" brings the interface up and down; "network.simulator" steers it.
#include <array>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <signal.h>
#include <string>
#include <sys/signalfd.h>
#include <unistd.h>
#include <utility>

#include <libubus.h>

#include "simulator/membership.h"
#include "simulator/network/cable.h"
#include "simulator/network/link.h"

namespace
{

constexpr char interface[] = "usb0";
constexpr char hidden[] = "nousb0";  // its name without a modem
constexpr char otherinterface[] = "modem0";

// What the next "up" does, and what was called.
struct network_state {
    std::uint32_t delay;  // ms from "up" to the address
    bool noaddress;
    bool noroute;
    bool otherroute;     // the default route goes through the other interface
    std::uint32_t hang;  // ms that every call waits for its answer
    std::uint32_t ups;
    std::uint32_t downs;
    bool wanted;           // from "up" to "down"
    std::string address;   // what the modem gives; empty: nothing
    uloop_timeout appear;  // armed while the address is to come
    uloop_fd watch;        // of the folder in which the modem tells it
    blob_buf reply;
};

network_state network = {};

void complain(const char *what)
{
    std::perror(what);
}

void linkappears(uloop_timeout *)
{
    if (network.noaddress || network.address.empty()) return;
    const std::string gateway = network.address.substr(0, network.address.rfind('.')) + ".1";
    if (!link_setaddress(interface, network.address.c_str())) complain("network-service: usb0");
    if (network.noroute) return;
    if (network.otherroute && (!link_setaddress(otherinterface, "10.118.0.2") ||
                               !link_addroute(otherinterface, "10.118.0.1")))
        complain("network-service: modem0");
    if (!network.otherroute && !link_addroute(interface, gateway.c_str()))
        complain("network-service: default route");
}

void takedown()
{
    (void)uloop_timeout_cancel(&network.appear);
    if (link_exists(interface) && !link_down(interface)) complain("network-service: usb0");
    // Takes a default route there along; the other end of the pair must stay up.
    if (!link_down(otherinterface) || !link_up(otherinterface)) complain("network-service: modem0");
}

// Follows the modem: its interface is there or not, and an address that was waited for comes.
void readcable()
{
    std::ifstream file(cable_path);
    const bool present = file.is_open();
    const std::string former = std::exchange(network.address, "");
    (void)std::getline(file, network.address);
    if (present != link_exists(interface)) {
        takedown();
        const bool renamed =
            present ? link_rename(hidden, interface) : link_rename(interface, hidden);
        if (!renamed) complain("network-service: modem's interface");
    }
    if (network.wanted && former != network.address)
        (void)uloop_timeout_set(&network.appear, static_cast<int>(network.delay));
}

void cablechanges(uloop_fd *watch, unsigned int)
{
    signalfd_siginfo change = {};
    if (read(watch->fd, &change, sizeof change) > 0) readcable();
}

// By SIGIO: inotify allows a user 128 instances, and a machine carries more routers than that.
bool watchcable()
{
    const std::string path = std::filesystem::path(cable_path).parent_path();
    const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    sigset_t changes;
    sigemptyset(&changes);
    sigaddset(&changes, SIGIO);
    sigprocmask(SIG_BLOCK, &changes, nullptr);
    network.watch.cb = cablechanges;
    network.watch.fd = signalfd(-1, &changes, SFD_CLOEXEC | SFD_NONBLOCK);
    return fcntl(folder, F_NOTIFY, DN_RENAME | DN_DELETE | DN_MULTISHOT) == 0 &&
           uloop_fd_add(&network.watch, ULOOP_READ) == 0;
}

void hang()
{
    if (network.hang > 0) usleep(network.hang * 1000);
}

int bringup(ubus_context *, ubus_object *, ubus_request_data *, const char *, blob_attr *)
{
    network.ups++;
    hang();
    takedown();
    network.wanted = true;
    readcable();
    uloop_timeout_set(&network.appear, static_cast<int>(network.delay));
    return 0;
}

int bringdown(ubus_context *, ubus_object *, ubus_request_data *, const char *, blob_attr *)
{
    network.downs++;
    hang();
    network.wanted = false;
    takedown();
    return 0;
}

int answercalls(
    ubus_context *bus, ubus_object *, ubus_request_data *request, const char *, blob_attr *)
{
    blob_buf_init(&network.reply, 0);
    blobmsg_add_u32(&network.reply, "up", network.ups);
    blobmsg_add_u32(&network.reply, "down", network.downs);
    return ubus_send_reply(bus, request, network.reply.head);
}

enum behaviour { delay_ms, no_address, no_route, other_route, hang_ms, behaviours };
constexpr blobmsg_policy behavepolicy[behaviours] = {
    {"delay_ms", BLOBMSG_TYPE_INT32}, {"no_address", BLOBMSG_TYPE_BOOL},
    {"no_route", BLOBMSG_TYPE_BOOL},  {"other_route", BLOBMSG_TYPE_BOOL},
    {"hang_ms", BLOBMSG_TYPE_INT32},
};

// What is not named goes back to the ordinary behaviour.
int behave(ubus_context *, ubus_object *, ubus_request_data *, const char *, blob_attr *message)
{
    std::array<blob_attr *, behaviours> given = {};
    blobmsg_parse(behavepolicy, behaviours, given.data(), blob_data(message),
                  static_cast<unsigned>(blob_len(message)));
    const auto number = [&](behaviour which) {
        return given[which] != nullptr ? blobmsg_get_u32(given[which]) : 0;
    };
    const auto flag = [&](behaviour which) {
        return given[which] != nullptr && blobmsg_get_bool(given[which]);
    };
    network.delay = number(delay_ms);
    network.hang = number(hang_ms);
    network.noaddress = flag(no_address);
    network.noroute = flag(no_route);
    network.otherroute = flag(other_route);
    return 0;
}

ubus_method linkmethods[] = {UBUS_METHOD_NOARG("up", bringup),
                             UBUS_METHOD_NOARG("down", bringdown)};
ubus_object_type linktype = UBUS_OBJECT_TYPE("network.interface.usb0", linkmethods);
ubus_method steeringmethods[] = {UBUS_METHOD_NOARG("calls", answercalls),
                                 UBUS_METHOD("behave", behave, behavepolicy)};
ubus_object_type steeringtype = UBUS_OBJECT_TYPE("network.simulator", steeringmethods);

bool addobject(ubus_context &bus, ubus_object &object, ubus_object_type &type)
{
    object = {};
    type.id = 0;
    object.name = type.name;
    object.type = &type;
    object.methods = type.methods;
    object.n_methods = type.n_methods;
    return ubus_add_object(&bus, &object) == 0;
}

bool offer(ubus_context &bus)
{
    static ubus_object link;
    static ubus_object steering;
    return addobject(bus, link, linktype) && addobject(bus, steering, steeringtype);
}

}  // namespace

int main()
{
    network.appear.cb = linkappears;
    uloop_init();
    takedown();
    readcable();
    if (!watchcable() || !join_bus(offer)) {
        std::fputs("network-service: cannot offer its objects on the bus\n", stderr);
        return 1;
    }
    uloop_run();
    leave_bus();
    uloop_done();
    return 0;
}
