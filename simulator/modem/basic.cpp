// SPDX-License-Identifier: ISC
// Commands of the modem itself: framing, identity, plain settings, lines and the analogue input.
#include "simulator/modem/command.h"

namespace simulator
{
namespace
{

constexpr unsigned slotswitch = 28;  // line; low: slot 1
constexpr unsigned carddetect = 2;   // analogue input

outcome setecho(modem_model &modem, const request &asked, information &)
{
    modem.session.echo = asked.raw == "1";
    return {};
}

outcome setverbose(modem_model &modem, const request &asked, information &)
{
    modem.session.verbose = asked.raw != "0";
    return {};
}

outcome identify(modem_model &modem, const request &, information &lines)
{
    lines = {"Model: " + modem.model_name + "\r\nRevision: " + modem.firmware +
             "\r\nIMEI: " + modem.imei};
    return {};
}

outcome showmodel(modem_model &modem, const request &, information &lines)
{
    lines.push_back(modem.model_name);
    return {};
}

outcome showfirmware(modem_model &modem, const request &, information &lines)
{
    lines.push_back("+CGMR: " + modem.firmware);
    return {};
}

outcome showimei(modem_model &modem, const request &, information &lines)
{
    lines.push_back(modem.imei);
    return {};
}

outcome setfunction(modem_model &modem, const request &asked, information &lines)
{
    if (asked.how == form::query) {
        lines.push_back("+CFUN: " + std::to_string(modem.session.cfun));
        return {};
    }
    const std::optional<unsigned> level = asked.number(0);
    if (!level || (*level != 0 && *level != 1 && *level != 4)) return cmefailed(50);
    if (*level == 1 && modem.session.cfun != 1) modem.session.radio_since = modem.now;
    modem.session.cfun = *level;
    return {};
}

outcome setdirection(modem_model &modem, const request &asked, information &)
{
    const std::optional<unsigned> line = asked.number(0);
    const std::optional<unsigned> output = asked.number(1);
    if (!line || !output || *output > 1) return failed;
    modem.session.lines[*line].output = *output == 1;
    return {};
}

// Only an output has a level to set.
outcome setlevel(modem_model &modem, const request &asked, information &)
{
    const std::optional<unsigned> line = asked.number(0);
    const std::optional<unsigned> level = asked.number(1);
    if (!line || !level || *level > 1) return failed;
    const auto found = modem.session.lines.find(*line);
    if (found == modem.session.lines.end() || !found->second.output) return failed;
    found->second.level = *level;
    return {};
}

outcome readadc(modem_model &modem, const request &asked, information &lines)
{
    const std::optional<unsigned> input = asked.number(0);
    if (!input) return failed;
    const unsigned reading = *input == carddetect ? adcreading(modem) : 0;
    lines.push_back("+CADC: " + std::to_string(reading));
    return {};
}

constexpr command commands[] = {
    {"E", setecho},
    {"V", setverbose},
    {"I", identify},
    {"+CATR", remember, "0 1 2 3 4"},
    {"+CMEE", remember, "0 1 2"},
    {"*IMSCFG", remember, "switch"},
    {"+CFUN", setfunction},
    {"+CGMM", showmodel},
    {"+CGMR", showfirmware},
    {"+CGSN", showimei},
    {"+CVAUXS", remember, "0 1"},
    {"+CGDRT", setdirection},
    {"+CGSETV", setlevel},
    {"+CADC", readadc},
};

}  // namespace

outcome remember(modem_model &modem, const request &asked, information &lines)
{
    const std::string name(asked.name);
    if (asked.how == form::query) {
        const auto found = modem.session.settings.find(name);
        lines.push_back(name + ": " +
                        (found == modem.session.settings.end() ? "0" : found->second));
    } else {
        modem.session.settings[name] = asked.raw;
    }
    return {};
}

std::span<const command> basiccommands()
{
    return commands;
}

const sim_slot &selectedslot(const modem_model &modem)
{
    const auto line = modem.session.lines.find(slotswitch);
    return modem.slots[line != modem.session.lines.end() && line->second.level == 1 ? 1 : 0];
}

unsigned adcreading(const modem_model &modem)
{
    constexpr unsigned readings[] = {300, 900, 1200, 1500};  // no card, slot 1, slot 2, both
    const unsigned cards =
        (modem.slots[0].inserted ? 1U : 0U) | (modem.slots[1].inserted ? 2U : 0U);
    return modem.adc.value_or(readings[cards]);
}

}  // namespace simulator
