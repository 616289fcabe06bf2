// SPDX-License-Identifier: ISC
// A port of the machine outside the sandbox.
#include "simulator/router/listen.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

int complain(int fd, const std::string &place)
{
    std::perror(("router: --listen " + place).c_str());
    if (fd >= 0) close(fd);
    return -1;
}

}  // namespace

int listen_at(const std::string &place)
{
    const std::size_t colon = place.rfind(':');
    const std::string host = place.substr(0, colon);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    if (colon == std::string::npos || inet_pton(AF_INET, host.c_str(), &address.sin_addr) != 1) {
        std::fprintf(stderr, "router: --listen %s: not ADDRESS:PORT\n", place.c_str());
        return -1;
    }
    address.sin_port = htons(static_cast<uint16_t>(std::atoi(place.c_str() + colon + 1)));
    sockaddr *const any = reinterpret_cast<sockaddr *>(&address);
    socklen_t length = sizeof address;
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    if (fd < 0 || setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        bind(fd, any, length) != 0 || listen(fd, SOMAXCONN) != 0 ||
        getsockname(fd, any, &length) != 0)
        return complain(fd, place);
    std::printf("http://%s:%d/kelvantorium/\n", host.c_str(), ntohs(address.sin_port));
    std::fflush(stdout);
    return fd;
}
