// SPDX-License-Identifier: ISC
// Indicators: what every state sends and how a failure words it, once.
#include "indicators/leds.h"

#include <gtest/gtest.h>

#include "core/record/text.h"
#include "tests/at/rig.h"
#include "tests/support/table.h"

namespace
{

int set(modem_state *state, char led, int value, int isworking)
{
    if (led == 's') return modem_setslotled(state, value, "former", isworking);
    if (led == 'G') return modem_setgnssled(state, value, "former", isworking);
    return modem_setledlevel(state, value);
}

// Refused by the modem, an operation shows its command, its words and the copy that it writes to.
TEST(leds, everyStateHasItsLevelsAndWords)
{
    const auto rows = readtable("initialisation.md", "LEDs");
    EXPECT_EQ(rows.size(), 15U);
    const rig modem;
    modem_state &state = *modem.state;
    for (const auto &cells : rows) {
        SCOPED_TRACE(cells[4]);
        const char led = cells[0][0];
        const int value = std::stoi(cells[1]);
        std::int32_t &last = led == 's'   ? state.lastledslot
                             : led == 'G' ? state.lastledgnss
                                          : state.lastledlevel;
        for (const int isworking : {0, 1}) {
            if (led == 'b' && isworking != 0) continue;  // the poll alone
            modem_status &target = isworking != 0 ? state.working : state.published;
            state.published = state.working = {};
            modem_copytext(target.settings.modem.slot, cells[2]);
            state.lastledslot = state.lastledgnss = state.lastledlevel = value;
            last = -1;
            modem.answer("\r\nERROR\r\n");
            EXPECT_EQ(set(&state, led, value, isworking), 2);
            EXPECT_EQ(modem.command(), cells[3] + "\r");
            EXPECT_EQ(target.info.kelvantorium.reason,
                      cells[4] + ": " + cells[3] + ": didn't get answer OK");
            EXPECT_STREQ(target.info.kelvantorium.prevstate, led == 'b' ? "op" : "forme")
                << "as much as fits";
            EXPECT_EQ(set(&state, led, value, isworking), 0) << "nothing new";
            EXPECT_EQ(modem.command(), "");
        }
    }
}

}  // namespace
