// SPDX-License-Identifier: ISC
// The AT transaction: write, wait under a timer, classify.
#include "at/sendat.h"

#include <cerrno>
#include <cstring>
#include <syslog.h>
#include <unistd.h>

#include "at/reply.h"
#include "at/timer.h"
#include "core/record/pause.h"
#include "core/record/state.h"
#include "core/record/text.h"
#include "core/record/trace.h"

namespace
{

constexpr unsigned settlepause = 1;   // ms between an exchange and the next command
constexpr unsigned hanguppause = 50;  // ms per look at a port that reports input and has none

// Looks again, or an outcome of the transaction.
constexpr int undecided = -2;

bool modem_issendable(const modem_state *pmod, const char *strcmd)
{
    if (pmod->ismodemconnect == 0) {
        syslog(LOG_ERR, "modem_sendat: pmod->ismodemconnect=%d", pmod->ismodemconnect);
        return false;
    }
    if (strcmd == nullptr || strcmd[0] == '\0') {
        syslog(LOG_ERR, "modem_sendat: strcmd is %s", strcmd == nullptr ? "NULL" : "empty");
        return false;
    }
    return true;
}

bool modem_writecommand(modem_state *pmod, const char *strcmd)
{
    modem_settext(pmod->atcmd, "%s\r", strcmd);
    (void)tcflush(pmod->fdcom, TCIOFLUSH);  // drops unsolicited lines since the last exchange
    if (write(pmod->fdcom, pmod->atcmd, std::strlen(pmod->atcmd)) != -1) return true;
    syslog(LOG_ERR, "modem_sendat: write done error=%s", std::strerror(errno));
    return false;
}

int modem_finish(modem_state *pmod, int result, int trace)
{
    (void)modem_resettimer(pmod->fdtimerat);
    if (trace != 0) {
        const std::string_view reply = modem_getreply(pmod);
        modem_trace("modem_sendat: response: (STR): %s", pmod->atanswer);
        modem_tracehex("modem_sendat: response: (HEX): ",
                       {reinterpret_cast<const std::uint8_t *>(reply.data()), reply.size()});
    }
    modem_pause(settlepause);
    return result;
}

int modem_fail(modem_state *pmod, const char *call)
{
    const int error = errno;
    (void)modem_resettimer(pmod->fdtimerat);
    syslog(LOG_ERR, "modem_sendat: %s done error=%s", call, std::strerror(error));
    return -1;
}

int modem_timeout(modem_state *pmod, const char *answer, int trace)
{
    (void)modem_resettimer(pmod->fdtimerat);
    if (trace != 0) {
        modem_trace("modem_sendat: RESPONSE TIMEOUT %s\n", answer != nullptr ? "ERROR" : "EXPIRED");
    }
    return 1;
}

// One look at the readable AT port. Sets `looktimer` when the timer is to be looked at next: not
// while text keeps coming that is collected or completes an error line.
int modem_takereply(modem_state *pmod, const char *answer, int trace, bool &looktimer)
{
    const int nbytes = modem_readchunk(pmod->fdcom, pmod->atchunk);
    if (nbytes < 0) return modem_fail(pmod, "read()");
    const std::size_t length =
        modem_accumulate(pmod->atanswer, static_cast<std::size_t>(pmod->atanswerlen),
                         {pmod->atchunk, static_cast<std::size_t>(nbytes)});
    pmod->atanswerlen = static_cast<std::int32_t>(length);
    looktimer = nbytes == 0;
    if (answer == nullptr) return undecided;
    switch (modem_classify(modem_getreply(pmod), answer)) {
        case modem_verdict::expected:
            return modem_finish(pmod, 0, trace);
        case modem_verdict::error:
            return modem_finish(pmod, 2, trace);
        case modem_verdict::unfinished:
            return undecided;  // the line's end is on its way
        case modem_verdict::nothing:
            looktimer = true;
            return undecided;
    }
    return undecided;
}

}  // namespace

std::string_view modem_getreply(const modem_state *pmod)
{
    return {pmod->atanswer, static_cast<std::size_t>(pmod->atanswerlen)};
}

std::size_t modem_accumulate(char (&text)[561],
                             std::size_t length,
                             std::span<const std::uint8_t> chunk)
{
    if (chunk.empty()) return length;
    if (length + chunk.size() >= sizeof(text)) length = 0;
    std::memcpy(text + length, chunk.data(), chunk.size());
    text[length + chunk.size()] = '\0';
    return length + chunk.size();
}

int modem_readchunk(int fd, std::uint8_t (&chunk)[560])
{
    const ssize_t nbytes = read(fd, chunk, sizeof(chunk));
    if (nbytes > 0) return static_cast<int>(nbytes);
    if (nbytes < 0 && errno != EAGAIN && errno != EINTR) return -1;
    modem_pause(hanguppause);
    return 0;
}

int modem_sendat(
    modem_state *pmod, const char *strcmd, const char *answer, unsigned timeout, int trace)
{
    if (!modem_issendable(pmod, strcmd)) return -1;
    pmod->atanswerlen = 0;
    if (!modem_writecommand(pmod, strcmd)) return -1;
    if (trace != 0) modem_trace("modem_sendat: send: %s\n", strcmd);
    if (timeout == 0) {
        modem_pause(settlepause);
        return 0;
    }
    (void)modem_resettimer(pmod->fdtimerat);
    (void)modem_settimer(pmod->fdtimerat, timeout);
    for (;;) {
        if (poll(pmod->pollat, 2, -1) < 0) {
            if (errno == EINTR) continue;
            return modem_fail(pmod, "poll()");
        }
        bool looktimer = true;
        if (pmod->pollat[0].revents != 0) {
            const int result = modem_takereply(pmod, answer, trace, looktimer);
            if (result != undecided) return result;
        }
        if (looktimer && pmod->pollat[1].revents != 0) return modem_timeout(pmod, answer, trace);
    }
}
