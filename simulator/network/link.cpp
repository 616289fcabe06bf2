// SPDX-License-Identifier: ISC
// Interfaces and routes by ioctl.
#include "simulator/network/link.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <net/if.h>
#include <net/route.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

sockaddr inetaddress(const char *text)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    (void)inet_pton(AF_INET, text, &address.sin_addr);
    sockaddr generic = {};
    std::memcpy(&generic, &address, sizeof generic);
    return generic;
}

bool request(unsigned long number, void *argument)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    const bool done = ioctl(fd, number, argument) == 0;
    const int error = errno;
    close(fd);
    errno = error;
    return done;
}

ifreq interfacerequest(const char *interface)
{
    ifreq link = {};
    std::strncpy(link.ifr_name, interface, IFNAMSIZ - 1);
    return link;
}

bool changeaddress(const char *interface, unsigned long number, const char *address)
{
    ifreq link = interfacerequest(interface);
    link.ifr_addr = inetaddress(address);
    return request(number, &link);
}

bool setup(const char *interface, bool up)
{
    ifreq link = interfacerequest(interface);
    if (!request(SIOCGIFFLAGS, &link)) return false;
    const auto flags = static_cast<unsigned short>(link.ifr_flags);
    link.ifr_flags = static_cast<short>(up ? flags | IFF_UP : flags & ~IFF_UP);
    return request(SIOCSIFFLAGS, &link);
}

}  // namespace

bool link_exists(const char *interface)
{
    return if_nametoindex(interface) != 0;
}

bool link_rename(const char *interface, const char *name)
{
    ifreq link = interfacerequest(interface);
    std::strncpy(link.ifr_newname, name, IFNAMSIZ - 1);
    return request(SIOCSIFNAME, &link);
}

bool link_setaddress(const char *interface, const char *address)
{
    return changeaddress(interface, SIOCSIFADDR, address) &&
           changeaddress(interface, SIOCSIFNETMASK, "255.255.255.0") && link_up(interface);
}

bool link_up(const char *interface)
{
    return setup(interface, true);
}

bool link_down(const char *interface)
{
    return setup(interface, false) && changeaddress(interface, SIOCSIFADDR, "0.0.0.0");
}

bool link_addroute(const char *interface, const char *gateway)
{
    char name[IFNAMSIZ] = {};
    std::strncpy(name, interface, IFNAMSIZ - 1);
    rtentry route = {};
    route.rt_dst = inetaddress("0.0.0.0");
    route.rt_genmask = inetaddress("0.0.0.0");
    route.rt_gateway = inetaddress(gateway);
    route.rt_flags = RTF_UP | RTF_GATEWAY;
    route.rt_dev = name;
    return request(SIOCADDRT, &route);
}
