// SPDX-License-Identifier: ISC
// The data link: bus calls to the network service, and the kernel's view of the interface.
#include "monitor/link.h"

#include <arpa/inet.h>
#include <cstring>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <libubus.h>

#include "core/record/flags.h"
#include "core/record/paths.h"
#include "core/record/state.h"
#include "core/record/text.h"
#include "monitor/route.h"

namespace
{

constexpr int linktimeout = 1000;  // ms
constexpr char none[] = "none";
using modem_addresstext = char[INET_ADDRSTRLEN];

void modem_calllink(modem_state *pmod, const char *method)
{
    std::uint32_t id = 0;  // stays 0 when the broker shows nothing of the object
    if (ubus_lookup_id(pmod->ubusctx, modem_linkobject, &id) != 0 || id == 0) {
        syslog(LOG_ERR, "modem_lteup: ubus_lookup_id didn't find %s\n", modem_linkobject);  // sic
        return;
    }
    (void)ubus_invoke(pmod->ubusctx, id, method, nullptr, nullptr, nullptr, linktimeout);
}

void modem_readaddress(modem_addresstext &text)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd == -1) return;
    ifreq request = {};
    modem_copytext(request.ifr_name, modem_linkname);
    sockaddr_in address = {};
    if (ioctl(fd, SIOCGIFADDR, &request) == 0) {
        std::memcpy(&address, &request.ifr_addr, sizeof(address));
        (void)inet_ntop(AF_INET, &address.sin_addr, text, sizeof(text));
    }
    (void)close(fd);
}

void modem_readgateway(modem_addresstext &text)
{
    in_addr gateway = {};
    if (modem_getgateway(modem_linkname, &gateway.s_addr) == 0)
        (void)inet_ntop(AF_INET, &gateway, text, sizeof(text));
}

}  // namespace

void modem_lteup(modem_state *pmod)
{
    modem_calllink(pmod, "up");
}

void modem_ltedown(modem_state *pmod)
{
    modem_calllink(pmod, "down");
}

void modem_checklink(modem_state *pmod)
{
    if (modem_getflag(pmod->isltedown) != 0) {
        modem_lteup(pmod);
        modem_setflag(pmod->isltedown, 0);
    }
    modem_addresstext address = "none";
    modem_addresstext gateway = "none";
    modem_readaddress(address);
    modem_readgateway(gateway);
    if (modem_isword(address, none) || modem_isword(gateway, none)) return;
    auto &network = pmod->published.info.network;
    modem_copytext(network.ip, address);
    modem_copytext(network.gateway, gateway);
    modem_copytext(network.state, "connected");
}
