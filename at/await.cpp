// SPDX-License-Identifier: ISC
// The wait for text on a serial port.
#include "at/await.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

#include "at/timer.h"
#include "core/record/pause.h"

namespace
{

constexpr unsigned hanguppause = 50;  // ms per look at a port that reports input and has none

// Octets of one read; 0 when there are none after all, -1 with errno on a failure.
ssize_t modem_readchunk(int fd, std::uint8_t (&chunk)[modem_atreplymax])
{
    const ssize_t nbytes = read(fd, chunk, sizeof(chunk));
    return nbytes < 0 && (errno == EAGAIN || errno == EINTR) ? 0 : nbytes;
}

modem_match modem_takechunk(const modem_wait &wait, std::size_t nbytes)
{
    const std::size_t length =
        modem_accumulate(wait.text, static_cast<std::size_t>(wait.length), {wait.chunk, nbytes});
    wait.length = static_cast<std::int32_t>(length);
    return wait.match({wait.text, length}, wait.seeker);
}

modem_waitend modem_run(const modem_wait &wait)
{
    for (;;) {
        if (poll(wait.polled, 2, -1) < 0) {
            if (errno == EINTR) continue;
            return modem_waitend::pollfailed;
        }
        if (wait.polled[0].revents != 0) {
            const ssize_t nbytes = modem_readchunk(wait.polled[0].fd, wait.chunk);
            if (nbytes < 0) return modem_waitend::readfailed;
            const modem_match match = modem_takechunk(wait, static_cast<std::size_t>(nbytes));
            if (match == modem_match::complete) return modem_waitend::matched;
            if (match == modem_match::partial && nbytes > 0) continue;
            // A port that hangs up reports input for ever: waiting must cost no processor time.
            if (nbytes == 0) modem_pause(hanguppause);
        }
        if (wait.polled[1].revents != 0) return modem_waitend::expired;
    }
}

}  // namespace

modem_waitend modem_await(const modem_wait &wait, unsigned timeout)
{
    const int timer = wait.polled[1].fd;
    (void)modem_resettimer(timer);
    (void)modem_settimer(timer, timeout);
    const modem_waitend end = modem_run(wait);
    const int error = errno;
    (void)modem_resettimer(timer);
    errno = error;
    return end;
}

const char *modem_failedcall(modem_waitend end)
{
    return end == modem_waitend::pollfailed ? "poll()" : "read()";
}

std::size_t modem_accumulate(modem_replytext &text,
                             std::size_t length,
                             std::span<const std::uint8_t> chunk)
{
    if (chunk.empty()) return length;
    if (length + chunk.size() >= sizeof(text)) length = 0;
    std::memcpy(text + length, chunk.data(), chunk.size());
    text[length + chunk.size()] = '\0';
    return length + chunk.size();
}
