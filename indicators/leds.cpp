// SPDX-License-Identifier: ISC
// Indicators: every operation a row, every pattern a table.
#include "indicators/leds.h"

#include <cstdlib>

#include "core/record/text.h"
#include "indicators/gpio.h"
#include "monitor/signal.h"

namespace
{

// clang-format off
constexpr modem_lineop slotleds     = {{55, 56, 57, 58}, "set out gpios-led slot1 and slot2"};
constexpr modem_lineop gnssled      = {{25}, "set out gpio-led info.modem.gnss.state"};
constexpr modem_lineop levelleds    = {{20, 12, 59, 48}, "set out gpios-led info.modem.network.level"};
constexpr modem_lineop slotswitch   = {{28}, "set out gpio-slot settings.modem.slot"};
constexpr modem_lineop rs485pull    = {{27}, "set out settings.modem.rs485.pull"};
constexpr char switchpurpose[] = "set low gpio-switch settings.modem.slot(1)";  // sic, both levels

// By slot mask (no card, slot 1, slot 2, both) and selected slot: the selected slot is green with
// a card and yellow without, the other one off with a card and red without.
struct modem_slotpattern {
    const char *selectedone;
    const char *selectedtwo;
};
constexpr modem_slotpattern slotpatterns[] = {
    {"1110", "1011"},
    {"0110", "0011"},
    {"1100", "1001"},
    {"0100", "0001"},
};
// clang-format on

// The colour of one bicolour LED.
const char *modem_colour(char red, char green)
{
    if (red == '0') return green == '0' ? "off" : "green";
    return green == '0' ? "red" : "yellow";
}

int modem_setline(modem_state *pmod,
                  modem_info *target,
                  const char *prevstate,
                  const modem_lineop &op,
                  int value,
                  const char *purpose = nullptr)
{
    return modem_setlines(pmod, target, prevstate, op, value != 0 ? "1" : "0", purpose);
}

// True when the value differs from the last one sent; it then counts as sent, whatever comes of it.
bool modem_ischanged(std::int32_t &last, int value)
{
    if (last == value) return false;
    last = value;
    return true;
}

modem_status &modem_selectcopy(modem_state *pmod, int isworking)
{
    return isworking != 0 ? pmod->working : pmod->published;
}

}  // namespace

int modem_setoutslotleds(modem_state *pmod, modem_info *target, const char *prevstate)
{
    return modem_setoutlines(pmod, target, prevstate, slotleds);
}

int modem_applyslotled(modem_state *pmod,
                       modem_info *target,
                       const char *pattern,
                       const char *prevstate)
{
    char purpose[64];
    modem_settext(purpose, "set led %s %s slot1 and slot2", modem_colour(pattern[0], pattern[1]),
                  modem_colour(pattern[2], pattern[3]));
    return modem_setlines(pmod, target, prevstate, slotleds, pattern, purpose);
}

int modem_setoutgnssled(modem_state *pmod, modem_info *target, const char *prevstate)
{
    return modem_setoutlines(pmod, target, prevstate, gnssled);
}

int modem_applygnssled(modem_state *pmod, modem_info *target, int value, const char *prevstate)
{
    return modem_setline(pmod, target, prevstate, gnssled, value,
                         value != 0 ? "set led [available] info.modem.gnns.state"  // sic
                                    : "set led [unavailable] info.modem.gnns.state");
}

int modem_setoutlevelleds(modem_state *pmod, modem_info *target, const char *prevstate)
{
    return modem_setoutlines(pmod, target, prevstate, levelleds);
}

int modem_applyledlevel(modem_state *pmod, modem_info *target, int level, const char *prevstate)
{
    const char levels[] = {level > 0 ? '1' : '0', level > 1 ? '1' : '0', level > 2 ? '1' : '0',
                           level > 3 ? '1' : '0', '\0'};
    char purpose[64];
    modem_settext(purpose, "set led [%s] info.modem.network.level",
                  modem_levelwords[level >= 0 && level < 4 ? level : 4].data());
    return modem_setlines(pmod, target, prevstate, levelleds, levels, purpose);
}

int modem_setoutslotswitch(modem_state *pmod, modem_info *target, const char *prevstate)
{
    return modem_setoutlines(pmod, target, prevstate, slotswitch);
}

int modem_setslotswitch(modem_state *pmod, modem_info *target, int value, const char *prevstate)
{
    return modem_setline(pmod, target, prevstate, slotswitch, value, switchpurpose);
}

int modem_setoutrs485pull(modem_state *pmod, modem_info *target, const char *prevstate)
{
    return modem_setoutlines(pmod, target, prevstate, rs485pull);
}

int modem_setrs485pull(modem_state *pmod, modem_info *target, int value, const char *prevstate)
{
    return modem_setline(pmod, target, prevstate, rs485pull, value);
}

int modem_setslotled(modem_state *pmod, int slotmask, const char *prevstate, int isworking)
{
    if (!modem_ischanged(pmod->lastledslot, slotmask)) return 0;
    modem_status &copy = modem_selectcopy(pmod, isworking);
    const modem_slotpattern &row = slotpatterns[slotmask >= 0 && slotmask < 3 ? slotmask : 3];
    const bool selectedone = std::strtoul(copy.settings.modem.slot, nullptr, 10) == 1;
    return modem_applyslotled(pmod, &copy.info, selectedone ? row.selectedone : row.selectedtwo,
                              prevstate);
}

int modem_setgnssled(modem_state *pmod, int value, const char *prevstate, int isworking)
{
    if (!modem_ischanged(pmod->lastledgnss, value)) return 0;
    return modem_applygnssled(pmod, &modem_selectcopy(pmod, isworking).info, value, prevstate);
}

int modem_setledlevel(modem_state *pmod, int level)
{
    if (!modem_ischanged(pmod->lastledlevel, level)) return 0;
    return modem_applyledlevel(pmod, &pmod->published.info, level, "op");
}
