// SPDX-License-Identifier: ISC
// The route table, read without stdio: no heap, and lines of any length.
#include "monitor/route.h"

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <fcntl.h>
#include <unistd.h>

#include "core/record/cursor.h"
#include "core/record/paths.h"

namespace
{

struct modem_routeline {
    char text[1024];
    std::size_t length = 0;
};

void modem_addoctet(modem_routeline &line, char octet)
{
    if (line.length < sizeof(line.text)) line.text[line.length++] = octet;
}

bool modem_readhex(std::string_view word, std::uint64_t &value)
{
    const char *end = word.data() + word.size();
    const std::from_chars_result result = std::from_chars(word.data(), end, value, 16);
    return result.ec == std::errc() && result.ptr == end;
}

ssize_t modem_readchunk(int fd, char *chunk, std::size_t size)
{
    ssize_t count = 0;
    do {
        count = read(fd, chunk, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

}  // namespace

bool modem_isdefaultroute(std::string_view line, const char *interface, std::uint32_t &gateway)
{
    modem_cursor at = {line};
    if (modem_takeword(at) != interface) return false;
    std::uint64_t destination = 0;
    std::uint64_t address = 0;
    if (!modem_readhex(modem_takeword(at), destination) || destination != 0) return false;
    if (!modem_readhex(modem_takeword(at), address)) return false;
    // The kernel prints the 32-bit word as it lies in memory, so the number is the address as is.
    gateway = static_cast<std::uint32_t>(address);
    return true;
}

int modem_findgateway(int fd, const char *interface, std::uint32_t &gateway)
{
    modem_routeline line;
    char chunk[512];
    ssize_t count = 0;
    while ((count = modem_readchunk(fd, chunk, sizeof(chunk))) > 0) {
        for (ssize_t i = 0; i < count; i++) {
            if (chunk[i] != '\n') {
                modem_addoctet(line, chunk[i]);
                continue;
            }
            if (modem_isdefaultroute({line.text, line.length}, interface, gateway)) return 0;
            line.length = 0;
        }
    }
    // What is left is a last line without its end.
    return modem_isdefaultroute({line.text, line.length}, interface, gateway) ? 0 : -1;
}

int modem_getgateway(const char *interface, std::uint32_t *gateway)
{
    if (gateway == nullptr) return -1;
    const int fd = open(modem_routepath, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return -1;
    const int result = modem_findgateway(fd, interface, *gateway);
    (void)close(fd);  // nothing was written
    return result;
}
