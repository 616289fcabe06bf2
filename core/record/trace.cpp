// SPDX-License-Identifier: ISC
// Traces on standard output, one write each, without stdio: no heap, no stall.
#include "core/record/trace.h"

#include <cstdarg>
#include <cstdio>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

namespace
{

// A pipe that reports room takes this much without blocking (PIPE_BUF).
constexpr std::size_t tracemax = 4096;

// Held over the look for room and the write, so that both threads cannot see the same room.
pthread_mutex_t tracelock = PTHREAD_MUTEX_INITIALIZER;

void modem_writetrace(const char *text, std::size_t length)
{
    pollfd out = {STDOUT_FILENO, POLLOUT, 0};
    pthread_mutex_lock(&tracelock);
    if (poll(&out, 1, 0) == 1 && (out.revents & POLLOUT) != 0) {
        const ssize_t written = write(STDOUT_FILENO, text, length);
        (void)written;  // a trace that cannot be had is let go
    }
    pthread_mutex_unlock(&tracelock);
}

}  // namespace

void modem_trace(const char *format, ...)
{
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
    constexpr char digits[] = "0123456789ABCDEF";
    char text[tracemax];
    std::size_t length = 0;
    while (head[length] != '\0' && length < tracemax / 2) {
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
