// SPDX-License-Identifier: ISC
// Commands of the modem itself: framing, identity, plain settings, lines and the analogue input.
#include <utility>

#include "simulator/modem/command.h"

namespace simulator
{
namespace
{

constexpr unsigned slotswitch = 28;  // line; low: slot 1
constexpr unsigned carddetect = 2;   // analogue input

outcome setecho(modem_model &modem, const request &asked, information &)
{
    modem.ports[asked.where].echo = asked.raw == "1";
    return {};
}

outcome setverbose(modem_model &modem, const request &asked, information &)
{
    modem.session.verbose = asked.raw != "0";
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
    const unsigned former = std::exchange(modem.session.cfun, *level);
    if (former == 0 && *level != 0) restartcard(modem);
    if (former != 1 && *level == 1) modem.session.radio_since = modem.now;
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
    const unsigned former = std::exchange(found->second.level, *level);
    if (*line == slotswitch && former != *level) restartcard(modem);
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
    // clang-format off
    {"E", setecho},
    {"V", setverbose},
    {"I", show, "", "Model: {model}\r\nRevision: {firmware}\r\nIMEI: {imei}"},
    {"+CATR", remember, "0 1 2 3 4", "0"},
    {"+CMEE", remember, "0 1 2", "0"},
    {"*IMSCFG", remember, "switch"},
    {"+CFUN", setfunction},
    {"+CGMM", show, "", "{model}"},
    {"+CGMR", show, "", "+CGMR: {firmware}"},
    {"+CGSN", show, "", "{imei}"},
    {"+CVAUXS", remember, "0 1", "0"},
    {"+CGDRT", setdirection},
    {"+CGSETV", setlevel},
    {"+CADC", readadc},
    // clang-format on
};

}  // namespace

outcome show(modem_model &modem, const request &asked, information &lines)
{
    lines.push_back(wording(modem, asked.name, asked.usual));
    return {};
}

outcome remember(modem_model &modem, const request &asked, information &lines)
{
    const std::string name(asked.name);
    if (asked.how == form::query)
        lines.push_back(name + ": " + std::string(setting(modem, name, asked.usual)));
    else
        modem.session.settings[name] = asked.raw;
    return {};
}

std::string_view setting(const modem_model &modem, std::string_view name, std::string_view fallback)
{
    const auto found = modem.session.settings.find(std::string(name));
    return found == modem.session.settings.end() ? fallback : std::string_view(found->second);
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

sim_slot &selectedslot(modem_model &modem)
{
    return const_cast<sim_slot &>(selectedslot(std::as_const(modem)));
}

unsigned adcreading(const modem_model &modem)
{
    constexpr unsigned readings[] = {300, 900, 1200, 1500};  // no card, slot 1, slot 2, both
    const unsigned cards =
        (modem.slots[0].inserted ? 1U : 0U) | (modem.slots[1].inserted ? 2U : 0U);
    return modem.adc.value_or(readings[cards]);
}

}  // namespace simulator
