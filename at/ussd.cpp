// SPDX-License-Identifier: ISC
// The USSD answer reader.
#include "at/ussd.h"

#include <cerrno>
#include <cstring>
#include <syslog.h>

#include "at/await.h"
#include "core/record/cursor.h"
#include "core/record/state.h"
#include "core/record/text.h"
#include "core/record/trace.h"
#include "sms/text.h"

namespace
{

constexpr unsigned answertimeout = 30000;  // ms

// In order of precedence. A complete answer line ends in its data coding scheme; those two say that
// the quoted text is UCS2.
constexpr modem_ussdmarker markers[] = {
    {"17\r\n", nullptr, "get ussd answer: ok", LOG_INFO, 0, true},
    {"72\r\n", nullptr, "get ussd answer: ok", LOG_INFO, 0, false},
    {"-12\r\n", "cmd not supported", "get ussd answer: cmd not supported", LOG_INFO, 2, false},
    {"+CUSD: 0\r\n", "none", "get ussd answer: +CUSD: 0", LOG_INFO, 2, false},
    {"+CUSD: 1\r\n", "none", "get ussd answer: +CUSD: 1", LOG_INFO, 2, false},
    {"+CUSD: 2\r\n", "none", "get ussd answer: +CUSD: 2", LOG_INFO, 2, false},
    {"+CUSD: 4\r\n", "operation not supported", "get ussd answer: operation not supported",
     LOG_INFO, 2, false},
    {"+CUSD: 5\r\n", "network time out", "get ussd answer: network time out", LOG_INFO, 2, false},
    {"ERROR\r\n", "none", "get answer ERROR", LOG_ERR, 2, false},
    {"+CME ERROR:", "none", "get answer +CME ERROR", LOG_ERR, 2, false},
    {"+CMS ERROR:", "none", "get answer +CMS ERROR", LOG_ERR, 2, false},
};

int modem_finish(modem_state *pmod, const char *answer, int result)
{
    modem_copytext(pmod->working.info.ussd.answer, answer);
    modem_copytext(pmod->working.info.ussd.state, "stopped");
    return result;
}

int modem_fail(modem_state *pmod, const char *call)
{
    const int error = errno;
    syslog(LOG_ERR, "modem_getussdanswer: %s done error %s", call, std::strerror(error));
    return modem_finish(pmod, "none", -1);
}

// The quoted text of the answer line, as UCS2 digits that fit the field.
std::optional<std::string_view> modem_findanswer(std::string_view received)
{
    constexpr std::size_t most = (sizeof(modem_info::ussd.answer) - 1) * 4;
    modem_cursor at = {received};
    if (!modem_skippastnocase(at, "+CUSD:")) return std::nullopt;
    const std::optional<std::string_view> text = modem_takequoted(at);
    if (!text || text->size() <= most) return text;
    return std::string_view(text->data(), most);
}

int modem_finishdecoded(modem_state *pmod,
                        const modem_ussdmarker &marker,
                        std::string_view received)
{
    const int result = modem_finish(pmod, "none", marker.result);
    const std::optional<std::string_view> digits = modem_findanswer(received);
    if (!digits) return -1;
    // Digits that are no UCS2 text leave "none".
    (void)modem_ucs2tocp1251(pmod->working.info.ussd.answer, *digits);
    if (marker.traced) {
        modem_trace("modem_getussdanswer: STR: %s\n", received.data());
        modem_tracehex("modem_getussdanswer: HEX: ",
                       {reinterpret_cast<const std::uint8_t *>(received.data()), received.size()});
    }
    syslog(marker.priority, "modem_getussdanswer: %s", marker.log);
    return result;
}

int modem_finishmatched(modem_state *pmod,
                        const modem_ussdmarker &marker,
                        std::string_view received)
{
    if (marker.answer == nullptr) return modem_finishdecoded(pmod, marker, received);
    syslog(marker.priority, "modem_getussdanswer: %s", marker.log);
    return modem_finish(pmod, marker.answer, marker.result);
}

modem_match modem_matchussd(std::string_view received, void *seeker)
{
    const modem_ussdmarker *&found = *static_cast<const modem_ussdmarker **>(seeker);
    found = modem_classifyussd(received);
    return found != nullptr ? modem_match::complete : modem_match::none;
}

}  // namespace

const modem_ussdmarker *modem_classifyussd(std::string_view received)
{
    for (const modem_ussdmarker &marker : markers) {
        if (modem_findnocase(received, marker.text) != std::string_view::npos) return &marker;
    }
    return nullptr;
}

void modem_flushussd(modem_state *pmod)
{
    (void)tcflush(pmod->fdcom2, TCIOFLUSH);  // a lost port shows when it is read
}

int modem_getussdanswer(modem_state *pmod)
{
    if (pmod->ismodemconnect2 == 0) {
        syslog(LOG_ERR, "modem_getussdanswer: pmod->ismodemconnect2 is NULL");
        return modem_finish(pmod, "none", -1);
    }
    std::uint8_t chunk[modem_atreplymax];
    modem_replytext text = "";
    std::int32_t length = 0;
    const modem_ussdmarker *found = nullptr;
    const modem_waitend end =
        modem_await({pmod->pollussd, chunk, text, length, modem_matchussd, &found}, answertimeout);
    switch (end) {
        case modem_waitend::matched:
            return modem_finishmatched(pmod, *found, {text, static_cast<std::size_t>(length)});
        case modem_waitend::expired:
            return modem_finish(pmod, "response timeout expired", 1);
        case modem_waitend::pollfailed:
        case modem_waitend::readfailed:
            break;
    }
    return modem_fail(pmod, modem_failedcall(end));
}
