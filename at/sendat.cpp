// SPDX-License-Identifier: ISC
// The AT transaction: write, wait under a timer, classify.
#include "at/sendat.h"

#include <cerrno>
#include <cstring>
#include <syslog.h>
#include <unistd.h>

#include "at/await.h"
#include "at/reply.h"
#include "core/record/pause.h"
#include "core/record/state.h"
#include "core/record/text.h"
#include "core/record/trace.h"

namespace
{

constexpr unsigned settlepause = 1;  // ms between an exchange and the next command

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

int modem_finish(modem_state *pmod, modem_verdict verdict, int trace)
{
    if (trace != 0) {
        const std::string_view reply = modem_getreply(pmod);
        modem_trace("modem_sendat: response: (STR): %s", pmod->atanswer);
        modem_tracehex("modem_sendat: response: (HEX): ",
                       {reinterpret_cast<const std::uint8_t *>(reply.data()), reply.size()});
    }
    modem_pause(settlepause);
    return verdict == modem_verdict::expected ? modematOk : modematError;
}

int modem_timeout(const char *answer, int trace)
{
    if (trace != 0) {
        modem_trace("modem_sendat: RESPONSE TIMEOUT %s\n", answer != nullptr ? "ERROR" : "EXPIRED");
    }
    return modematTimeout;
}

int modem_fail(const char *call)
{
    syslog(LOG_ERR, "modem_sendat: %s done error=%s", call, std::strerror(errno));
    return modematFailed;
}

struct modem_expectation {
    const char *answer;  // null: everything until the time-out
    modem_verdict verdict;
};

modem_match modem_matchreply(std::string_view reply, void *seeker)
{
    modem_expectation &expectation = *static_cast<modem_expectation *>(seeker);
    if (expectation.answer == nullptr) return modem_match::partial;
    expectation.verdict = modem_classify(reply, expectation.answer);
    switch (expectation.verdict) {
        case modem_verdict::expected:
        case modem_verdict::error:
            return modem_match::complete;
        case modem_verdict::unfinished:
            return modem_match::partial;
        case modem_verdict::nothing:
            break;
    }
    return modem_match::none;
}

}  // namespace

std::string_view modem_getreply(const modem_state *pmod)
{
    return {pmod->atanswer, static_cast<std::size_t>(pmod->atanswerlen)};
}

int modem_sendat(
    modem_state *pmod, const char *strcmd, const char *answer, unsigned timeout, int trace)
{
    if (!modem_issendable(pmod, strcmd)) return modematFailed;
    pmod->atanswerlen = 0;
    if (!modem_writecommand(pmod, strcmd)) return modematFailed;
    if (trace != 0) modem_trace("modem_sendat: send: %s\n", strcmd);
    if (timeout == 0) {
        modem_pause(settlepause);
        return modematOk;
    }
    modem_expectation expectation = {answer, modem_verdict::nothing};
    const modem_waitend end = modem_await({pmod->pollat, pmod->atchunk, pmod->atanswer,
                                           pmod->atanswerlen, modem_matchreply, &expectation},
                                          timeout);
    switch (end) {
        case modem_waitend::matched:
            return modem_finish(pmod, expectation.verdict, trace);
        case modem_waitend::expired:
            return modem_timeout(answer, trace);
        case modem_waitend::pollfailed:
        case modem_waitend::readfailed:
            break;
    }
    return modem_fail(modem_failedcall(end));
}
