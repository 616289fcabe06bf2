// SPDX-License-Identifier: ISC
// Traces on standard output, one write each, without stdio: no heap, no lock, no stall.
#include "core/record/trace.h"

#include <cstdarg>
#include <cstdio>
#include <poll.h>
#include <unistd.h>

#include "core/record/flags.h"

namespace
{

// A pipe that reports room has a page of it free. Both threads may see the same page and write one
// text each before they look again: two texts fill at most the 4096 octets of the smallest page.
constexpr std::size_t tracemax = 2048;

std::uint32_t istracing = 1;  // control word

void modem_writetrace(const char *text, std::size_t length)
{
    pollfd out = {STDOUT_FILENO, POLLOUT, 0};
    // A pipe that nobody reads reports room and an error.
    if (poll(&out, 1, 0) != 1 || out.revents != POLLOUT) return;
    const ssize_t written = write(STDOUT_FILENO, text, length);
    (void)written;  // a trace that cannot be had is let go
}

}  // namespace

bool modem_istracing()
{
    return modem_getflag(istracing) != 0;
}

void modem_settracing(bool on)
{
    modem_setflag(istracing, on ? 1 : 0);
}

void modem_trace(const char *format, ...)
{
    if (!modem_istracing()) return;
    char text[tracemax];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    if (length <= 0) return;
    const std::size_t written = static_cast<std::size_t>(length);
    modem_writetrace(text, written < sizeof(text) ? written : sizeof(text) - 1);
}

void modem_tracehex(const char *head, std::span<const std::uint8_t> octets)
{
    if (!modem_istracing()) return;
    constexpr char digits[] = "0123456789ABCDEF";
    char text[tracemax];
    std::size_t length = 0;
    while (head[length] != '\0' && length < tracemax / 8) {
        text[length] = head[length];
        length++;
    }
    for (const std::uint8_t octet : octets) {
        if (length + 4 > sizeof(text)) break;
        text[length++] = digits[octet >> 4];
        text[length++] = digits[octet & 0x0F];
        text[length++] = ' ';
    }
    text[length++] = '\n';
    modem_writetrace(text, length);
}
