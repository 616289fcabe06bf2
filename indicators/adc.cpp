// SPDX-License-Identifier: ISC
// Readings of the analogue input.
#include "indicators/adc.h"

#include <cstdint>
#include <iterator>

#include "core/record/cursor.h"

namespace
{

// What a reading at or above `least` means; the reading is in the modem's own units.
struct modem_adcband {
    std::uint32_t least;
    unsigned slotmask;
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

}  // namespace

std::optional<unsigned> modem_readslots(std::string_view reply)
{
    modem_cursor at = {reply};
    if (!modem_skippast(at, "+CADC:")) return std::nullopt;
    const std::optional<std::string_view> line = modem_takeuntil(at, '\r');
    std::uint32_t value = 0;
    if (!line || !modem_readnumber(*line, value)) return std::nullopt;
    const modem_adcband *band = adcbands;
    while (value < band->least)
        band++;
    return band->slotmask;
}
