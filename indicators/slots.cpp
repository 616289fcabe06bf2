// SPDX-License-Identifier: ISC
// SIM-slot detection: both card contacts hang on one analogue input.
#include "indicators/slots.h"

#include "at/ask.h"
#include "at/sendat.h"
#include "core/record/text.h"
#include "indicators/adc.h"

namespace
{

constexpr char inserted[] = "inserted";
constexpr char empty[] = "empty";

int modem_getslotmask(const modem_info &info)
{
    return (std::string_view(info.modem.slot1_state) == inserted ? 1 : 0) +
           (std::string_view(info.modem.slot2_state) == inserted ? 2 : 0);
}

}  // namespace

int modem_getslotstate(modem_state *pmod, modem_info *target, const char *prevstate)
{
    if (modem_ask(pmod, target, prevstate, "AT+CADC=2", "get info.modem.slot[1..2]_state") !=
        modematOk)
        return -1;
    const std::optional<unsigned> slotmask = modem_readslots(modem_getreply(pmod));
    if (slotmask) {
        modem_copytext(target->modem.slot1_state, (*slotmask & 1U) != 0 ? inserted : empty);
        modem_copytext(target->modem.slot2_state, (*slotmask & 2U) != 0 ? inserted : empty);
    }
    return modem_getslotmask(*target);
}
