// SPDX-License-Identifier: ISC
// Indicators: what every state sends and how a failure words it, once.
#include "indicators/leds.h"

#include <gtest/gtest.h>

#include "core/record/text.h"
#include "tests/at/rig.h"

namespace
{

constexpr int slotlines[] = {55, 56, 57, 58};
constexpr int gnssline[] = {25};
constexpr int levellines[] = {20, 12, 59, 48};

// Refused by the modem, an operation shows its command, its words and the copy that it writes to.
TEST(leds, everyStateHasItsLevelsAndWords)
{
    const struct {
        char what;  // 's'lots, 'g'nss or 'l'evel
        int value;  // slot mask, fix, level
        const char *slot;
        std::string levels, words;
    } rows[] = {
        // clang-format off
        {'s', 0, "1", "1110", "set led yellow red slot1 and slot2"},
        {'s', 1, "1", "0110", "set led green red slot1 and slot2"},
        {'s', 2, "1", "1100", "set led yellow off slot1 and slot2"},
        {'s', 3, "1", "0100", "set led green off slot1 and slot2"},
        {'s', 0, "2", "1011", "set led red yellow slot1 and slot2"},
        {'s', 1, "2", "0011", "set led off yellow slot1 and slot2"},
        {'s', 2, "2", "1001", "set led red green slot1 and slot2"},
        {'s', 3, "2", "0001", "set led off green slot1 and slot2"},
        {'g', 0, "1", "0", "set led [unavailable] info.modem.gnns.state"},
        {'g', 1, "1", "1", "set led [available] info.modem.gnns.state"},
        {'l', 0, "1", "0000", "set led [no signal] info.modem.network.level"},
        {'l', 1, "1", "1000", "set led [weak] info.modem.network.level"},
        {'l', 2, "1", "1100", "set led [medium] info.modem.network.level"},
        {'l', 3, "1", "1110", "set led [good] info.modem.network.level"},
        {'l', 4, "1", "1111", "set led [excellent] info.modem.network.level"},
        // clang-format on
    };
    const rig modem;
    modem_state &state = *modem.state;
    for (const auto &[what, value, slot, levels, words] : rows) {
        for (const int isworking : {0, 1}) {
            if (what == 'l' && isworking != 0) continue;  // the poll alone
            SCOPED_TRACE(words);
            modem_status &target = isworking != 0 ? state.working : state.published;
            state.published = state.working = {};
            modem_copytext(target.settings.modem.slot, slot);
            state.lastledslot = state.lastledgnss = state.lastledlevel = -1;
            const auto set = [&, what = what, value = value] {
                if (what == 's') return modem_setslotled(&state, value, "former", isworking);
                if (what == 'g') return modem_setgnssled(&state, value, "former", isworking);
                return modem_setledlevel(&state, value);
            };
            const int *line = what == 's' ? slotlines : what == 'g' ? gnssline : levellines;
            std::string command = "AT";
            for (const char level : levels)
                command += (command == "AT" ? "+CGSETV=" : ";+CGSETV=") + std::to_string(*line++) +
                           "," + level;
            modem.answer("\r\nERROR\r\n");
            EXPECT_EQ(set(), 2);
            EXPECT_EQ(modem.command(), command + "\r");
            EXPECT_EQ(target.info.kelvantorium.reason,
                      words + ": " + command + ": didn't get answer OK");
            EXPECT_STREQ(target.info.kelvantorium.prevstate, what == 'l' ? "op" : "forme");
            EXPECT_EQ(set(), 0) << "nothing new";
            EXPECT_EQ(modem.command(), "");
        }
    }
}

}  // namespace
