// SPDX-License-Identifier: ISC
// Commands of the SIM card, the radio, the data connection, USSD and the GNSS receiver.
#include <algorithm>

#include "simulator/modem/command.h"

namespace simulator
{
namespace
{

constexpr unsigned maxcontext = 15;

struct technology_row {
    std::string_view word;
    unsigned access;          // <AcT> of AT+COPS?
    std::string_view report;  // of AT+CPSI?; "{name:default}" stands for a signal value
};

constexpr technology_row technologies[] = {
    {"GSM", 0, "GSM,Online,250-99,0x182D,12401,27 EGSM 900,{rssi:-64},2110,42-42"},
    {"WCDMA", 2,
     "WCDMA,Online,250-99,0x8B3F,12345678,WCDMA IMT 2000,101,10663,0,{ecio:-7.5},{rscp:-82},33,"
     "{rssi:-75},500"},
    {"LTE", 7,
     "LTE,Online,250-99,0x5A1E,187214780,257,EUTRAN-BAND3,1850,5,5,{rsrq:20},{rsrp:50},{rssi:40},"
     "{sinr:15}"},
};

constexpr std::string_view defaultfix =
    "3,05,02,00,01,5546.123456,N,03737.654321,E,150324,093015.00,156.3,0.0,,1.5,0.9,1.2,07";
constexpr std::string_view nofix = ",,,,,,,,,,,,,,,,,";

const technology_row *findtechnology(std::string_view word)
{
    for (const technology_row &row : technologies)
        if (row.word == word) return &row;
    return nullptr;
}

std::string fillreport(const modem_model &modem, std::string_view pattern)
{
    std::string out;
    while (!pattern.empty()) {
        const std::size_t open = pattern.find('{');
        out += pattern.substr(0, open);
        if (open == std::string_view::npos) break;
        const std::size_t colon = pattern.find(':', open);
        const std::size_t close = pattern.find('}', open);
        const auto value =
            modem.signal.find(std::string(pattern.substr(open + 1, colon - open - 1)));
        out += value != modem.signal.end() ? std::string_view(value->second)
                                           : pattern.substr(colon + 1, close - colon - 1);
        pattern.remove_prefix(close + 1);
    }
    return out;
}

// Why the card cannot be used; no code when it can.
outcome cardstate(const modem_model &modem)
{
    const sim_slot &slot = selectedslot(modem);
    if (!slot.inserted) return cmefailed(10);
    if (modem.session.cfun == 0) return cmefailed(13);
    if (slot.lock == "READY") return {};
    return cmefailed(slot.lock == "SIM PIN" ? 11 : 13);
}

outcome showlock(modem_model &modem, const request &, information &lines)
{
    const sim_slot &slot = selectedslot(modem);
    if (!slot.inserted || modem.session.cfun == 0) return cardstate(modem);
    lines.push_back("+CPIN: " + slot.lock);
    return {};
}

outcome showimsi(modem_model &modem, const request &, information &lines)
{
    const outcome card = cardstate(modem);
    if (card.how == result::ok) lines.push_back(selectedslot(modem).imsi);
    return card;
}

outcome showiccid(modem_model &modem, const request &, information &lines)
{
    const outcome card = cardstate(modem);
    if (card.how == result::ok) lines.push_back("+ICCID: " + selectedslot(modem).iccid);
    return card;
}

outcome selectoperator(modem_model &modem, const request &asked, information &lines)
{
    if (asked.how != form::query) return remember(modem, asked, lines);
    std::string line = "+COPS: 0";
    if (isregistered(modem)) {
        const technology_row *row = findtechnology(modem.technology);
        line += ",0,\"" + modem.operator_name + "\"," + std::to_string(row ? row->access : 0);
    }
    lines.push_back(line);
    return {};
}

outcome showsystem(modem_model &modem, const request &, information &lines)
{
    const technology_row *row = isregistered(modem) ? findtechnology(modem.technology) : nullptr;
    if (!modem.cpsi.empty())
        lines.push_back("+CPSI: " + modem.cpsi);
    else if (row != nullptr)
        lines.push_back("+CPSI: " + fillreport(modem, row->report));
    else
        lines.push_back("+CPSI: " + (isregistered(modem) ? modem.technology : "NO SERVICE") +
                        ",Online");
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

outcome requestussd(modem_model &modem, const request &asked, information &)
{
    if (asked.text(0) != "1") return {};
    if (!isregistered(modem)) return cmefailed(30);
    auto found = modem.ussd.find(std::string(asked.text(1)));
    if (found == modem.ussd.end()) found = modem.ussd.find("");
    if (found != modem.ussd.end() && !found->second.line.empty())
        unsolicited(modem, second_port, "\r\n" + found->second.line + "\r\n", found->second.delay);
    return {};
}

outcome powergnss(modem_model &modem, const request &asked, information &lines)
{
    if (asked.how == form::query)
        lines.push_back(modem.session.gnss_power ? "+CGNSSPWR: 1" : "+CGNSSPWR: 0");
    else
        modem.session.gnss_power = asked.text(0) == "1";
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
    const std::string_view fix = modem.gnss_report.empty() ? defaultfix : modem.gnss_report;
    const bool visible = modem.session.gnss_power && modem.gnss_fix;
    lines.push_back("+CGNSSINFO: " + std::string(visible ? fix : nofix));
    return {};
}

constexpr command commands[] = {
    {"+CPIN", showlock},
    {"+CIMI", showimsi},
    {"+CICCID", showiccid},
    {"+CLIP", remember, "0 1"},
    {"+CGDCONT", definecontext},
    {"+CGAUTH", remember},
    {"+CNMP", remember, "2 13 14 38"},
    {"+COPS", selectoperator, "0 1 2"},
    {"+CPSI", showsystem},
    {"+USBNETIP", remember, "0 1"},
    {"+DIALMODE", remember, "0 1"},
    {"+CUSD", requestussd, "0 1 2"},
    {"+CGNSSPWR", powergnss, "0 1"},
    {"+CGNSSMODE", setgnssmode, "1 2 3 4"},
    {"+CGNSSINFO", showgnss},
};

}  // namespace

std::span<const command> networkcommands()
{
    return commands;
}

bool isregistered(const modem_model &modem)
{
    return modem.session.cfun == 1 && modem.network && cardstate(modem).how == result::ok &&
           modem.now >= modem.session.radio_since + modem.registration_delay;
}

void setnetwork(modem_model &modem, bool available, milliseconds now)
{
    modem.now = now;
    if (available && !modem.network) modem.session.radio_since = now;
    modem.network = available;
}

}  // namespace simulator
