// SPDX-License-Identifier: ISC
// SIM-slot detection: both card contacts hang on one analogue input.
#include "indicators/slots.h"

#include "at/ask.h"
#include "at/sendat.h"
#include "core/record/cursor.h"
#include "core/record/text.h"

namespace
{

// What a reading at or above `least` means; the reading is in the modem's own units.
struct modem_adcband {
    std::uint32_t least;
    int slotmask;
};

constexpr modem_adcband adcbands[] = {{1390, 3}, {1010, 2}, {770, 1}, {0, 0}};

constexpr bool modem_isdescending()
{
    for (std::size_t i = 1; i < std::size(adcbands); i++) {
        if (adcbands[i].least >= adcbands[i - 1].least) return false;
    }
    return adcbands[std::size(adcbands) - 1].least == 0;
}

static_assert(modem_isdescending(), "bands descend to 0");

constexpr char inserted[] = "inserted";
constexpr char empty[] = "empty";

int modem_getslotmask(const modem_info &info)
{
    return (std::string_view(info.modem.slot1_state) == inserted ? 1 : 0) +
           (std::string_view(info.modem.slot2_state) == inserted ? 2 : 0);
}

bool modem_readadc(std::string_view reply, std::uint32_t &value)
{
    modem_cursor at = {reply};
    if (!modem_skippast(at, "+CADC:")) return false;
    const std::optional<std::string_view> line = modem_takeuntil(at, '\r');
    return line && modem_readnumber(*line, value);
}

}  // namespace

int modem_getslotstate(modem_state *pmod, modem_info *target, const char *prevstate)
{
    if (modem_ask(pmod, target, prevstate, "AT+CADC=2", "get info.modem.slot[1..2]_state") != 0)
        return -1;
    std::uint32_t value = 0;
    if (!modem_readadc(modem_getreply(pmod), value)) return modem_getslotmask(*target);
    for (const modem_adcband &band : adcbands) {
        if (value < band.least) continue;
        modem_copytext(target->modem.slot1_state, (band.slotmask & 1) != 0 ? inserted : empty);
        modem_copytext(target->modem.slot2_state, (band.slotmask & 2) != 0 ? inserted : empty);
        break;
    }
    return modem_getslotmask(*target);
}
