// SPDX-License-Identifier: ISC
// Commands of the radio, the data connection, USSD and the GNSS receiver.
#include <algorithm>
#include <utility>

#include "simulator/modem/command.h"

namespace simulator
{
namespace
{

constexpr unsigned maxcontext = 15;

// What AT+CNMP allows; an empty word is every technology.
constexpr struct {
    std::string_view mode, word;
} modes[] = {{"2", ""}, {"13", "GSM"}, {"14", "WCDMA"}, {"38", "LTE"}};

outcome selectoperator(modem_model &modem, const request &asked, information &lines)
{
    modem_session &session = modem.session;
    if (asked.how == form::query) {
        lines.push_back(wording(modem, isregistered(modem) ? "registered" : "deregistered"));
        return {};
    }
    session.operator_format = asked.number(1).value_or(session.operator_format);
    const unsigned mode = asked.number(0).value_or(0);
    if (mode == 3) return {};  // sets the format only
    const bool wasoff = std::exchange(session.operator_mode, mode) == 2;
    session.operator_wanted = mode == 1 ? asked.text(2) : "";
    if (wasoff && mode != 2) session.radio_since = modem.now;
    return {};
}

// A technology other than the present one has to be found first.
outcome choosetechnology(modem_model &modem, const request &asked, information &lines)
{
    const std::string_view former = usedtechnology(modem);
    const outcome done = remember(modem, asked, lines);
    if (usedtechnology(modem) != former) modem.session.radio_since = modem.now;
    return done;
}

outcome showregistration(modem_model &modem, const request &asked, information &lines)
{
    if (asked.how != form::query) return remember(modem, asked, lines);
    lines.push_back("+CREG: " + std::string(setting(modem, "+CREG")) +
                    (isregistered(modem) ? ",1" : ",0"));
    return {};
}

outcome showsystem(modem_model &modem, const request &, information &lines)
{
    const std::string used(usedtechnology(modem));
    std::string report = modem.cpsi;
    if (report.empty()) report = wording(modem, isregistered(modem) ? used : "unserved");
    if (report.empty()) report = used + ",Online";  // a technology that has no wording
    lines.push_back("+CPSI: " + report);
    return {};
}

outcome definecontext(modem_model &modem, const request &asked, information &lines)
{
    if (asked.how == form::query) {
        for (const auto &[number, definition] : modem.contexts)
            lines.push_back("+CGDCONT: " + std::to_string(number) + "," + definition);
        return {};
    }
    const std::optional<unsigned> number = asked.number(0);
    if (!number || *number < 1 || *number > maxcontext) return cmefailed(50);
    const std::size_t comma = asked.raw.find(',');
    if (comma == std::string_view::npos)
        modem.contexts.erase(*number);
    else
        modem.contexts[*number] = asked.raw.substr(comma + 1);
    return {};
}

outcome requestussd(modem_model &modem, const request &asked, information &lines)
{
    if (asked.how == form::query || asked.text(1).empty()) {
        if (asked.text(0) == "2") modem.session.ussd.clear();
        return remember(modem, asked, lines);
    }
    if (!isregistered(modem)) return cmefailed(30);
    auto found = modem.ussd.find(std::string(asked.text(1)));
    if (found == modem.ussd.end()) found = modem.ussd.find("");
    if (asked.text(0) == "1" && found != modem.ussd.end() && !found->second.line.empty())
        modem.session.ussd.push_back({modem.now + found->second.delay, found->second.line});
    return {};
}

outcome powergnss(modem_model &modem, const request &asked, information &lines)
{
    if (asked.how == form::query) {
        lines.push_back(modem.session.gnss_power ? "+CGNSSPWR: 1" : "+CGNSSPWR: 0");
        return {};
    }
    const bool former = std::exchange(modem.session.gnss_power, asked.text(0) == "1");
    if (!former) modem.session.gnss_since = modem.now;
    return {};
}

outcome setgnssmode(modem_model &modem, const request &asked, information &lines)
{
    if (asked.how == form::query) {
        lines.push_back("+CGNSSMODE: " + modem.session.gnss_mode);
        return {};
    }
    if (!modem.session.gnss_power) return failed;
    if (modem.gnss_mode_refusals > 0) {
        modem.gnss_mode_refusals--;
        return failed;
    }
    modem.session.gnss_mode = asked.text(0);
    return {};
}

outcome showgnss(modem_model &modem, const request &, information &lines)
{
    const bool fixed = isfixed(modem);
    const bool own = fixed && !modem.gnss_report.empty();
    lines.push_back("+CGNSSINFO: " +
                    (own ? modem.gnss_report : wording(modem, fixed ? "fix" : "nofix")));
    return {};
}

constexpr command commands[] = {
    // clang-format off
    {"+CGDCONT", definecontext},
    {"+CGAUTH", remember},
    {"+CNMP", choosetechnology, "2 13 14 38", "2"},
    {"+COPS", selectoperator, "0 1 2 3 4"},
    {"+CREG", showregistration, "0 1 2"},
    {"+CPSI", showsystem},
    {"+USBNETIP", remember, "0 1", "1"},
    {"+DIALMODE", remember, "0 1", "1"},
    {"+CUSD", requestussd, "0 1 2", "0"},
    {"+CGNSSPWR", powergnss, "0 1"},
    {"+CGNSSMODE", setgnssmode, "1 2 3 4"},
    {"+CGNSSINFO", showgnss},
    // clang-format on
};

// The octets of an address behind the modem, "0,10,117".
std::string insideaddress(std::string_view area)
{
    std::string out(area.substr(area.find(',') + 1));
    std::replace(out.begin(), out.end(), ',', '.');
    return out + ".0.2";
}

}  // namespace

std::span<const command> networkcommands()
{
    return commands;
}

std::string_view usedtechnology(const modem_model &modem)
{
    const std::string_view mode = setting(modem, "+CNMP", "2");
    std::string_view allowed;
    for (const auto &row : modes)
        if (row.mode == mode) allowed = row.word;
    for (std::string_view rest = modem.technologies; !rest.empty();) {
        const std::string_view word = rest.substr(0, rest.find(','));
        rest.remove_prefix(std::min(rest.size(), word.size() + 1));
        if (allowed.empty() || word == allowed) return word;
    }
    return {};
}

milliseconds registrationdue(const modem_model &modem)
{
    const milliseconds begin = std::max(modem.session.radio_since, cardready(modem));
    return begin + modem.profile.registration_delay;
}

bool isregistered(const modem_model &modem)
{
    const modem_session &session = modem.session;
    const bool wanted = session.operator_wanted.empty() ||
                        session.operator_wanted == modem.operator_name ||
                        session.operator_wanted == modem.operator_code;
    return session.cfun == 1 && session.operator_mode != 2 && wanted && modem.network &&
           !usedtechnology(modem).empty() && cardstate(modem).how == result::ok &&
           modem.now >= registrationdue(modem);
}

void setnetwork(modem_model &modem, bool available, milliseconds now)
{
    modem.now = now;
    if (available && !modem.network) modem.session.radio_since = now;
    modem.network = available;
}

bool isfixed(const modem_model &modem)
{
    return modem.session.gnss_power && modem.gnss_fix &&
           modem.now >= modem.session.gnss_since + modem.profile.fix_delay;
}

std::string hostaddress(const modem_model &modem)
{
    if (!isregistered(modem) || !modem.contexts.contains(1) ||
        setting(modem, "+DIALMODE", "1") != "0")
        return "";
    const std::string_view area = setting(modem, "+USBNETIP", "1");
    return area.starts_with("0,") ? insideaddress(area) : "203.0.113.2";
}

}  // namespace simulator
