// SPDX-License-Identifier: ISC
// Indicators: what every state sends and how a failure words it, once.
#include "indicators/leds.h"

#include <gtest/gtest.h>

#include "core/record/text.h"
#include "tests/at/rig.h"

namespace
{

struct indicator {
    int lines[4];
    std::int32_t modem_state::*last;  // value sent
    const char *former;               // state that a failure records
    int (*set)(modem_state *state, int value, int isworking);
};

constexpr indicator slots = {{55, 56, 57, 58},
                             &modem_state::lastledslot,
                             "forme",
                             [](modem_state *state, int mask, int isworking) {
                                 return modem_setslotled(state, mask, "former", isworking);
                             }};
constexpr indicator gnss = {
    {25}, &modem_state::lastledgnss, "forme", [](modem_state *state, int fix, int isworking) {
        return modem_setgnssled(state, fix, "former", isworking);
    }};
constexpr indicator level = {
    {20, 12, 59, 48}, &modem_state::lastledlevel, "op", [](modem_state *state, int steps, int) {
        return modem_setledlevel(state, steps);
    }};

// Refused by the modem, an operation shows its command, its words and the copy that it writes to.
TEST(leds, everyStateHasItsLevelsAndWords)
{
    const struct {
        const indicator &led;
        int value;  // slot mask, fix, steps
        const char *slot;
        std::string levels, words;
    } rows[] = {
        // clang-format off
        {slots, 0, "1", "1110", "set led yellow red slot1 and slot2"},
        {slots, 1, "1", "0110", "set led green red slot1 and slot2"},
        {slots, 2, "1", "1100", "set led yellow off slot1 and slot2"},
        {slots, 3, "1", "0100", "set led green off slot1 and slot2"},
        {slots, 0, "2", "1011", "set led red yellow slot1 and slot2"},
        {slots, 1, "2", "0011", "set led off yellow slot1 and slot2"},
        {slots, 2, "2", "1001", "set led red green slot1 and slot2"},
        {slots, 3, "2", "0001", "set led off green slot1 and slot2"},
        {gnss, 0, "1", "0", "set led [unavailable] info.modem.gnns.state"},
        {gnss, 1, "1", "1", "set led [available] info.modem.gnns.state"},
        {level, 0, "1", "0000", "set led [no signal] info.modem.network.level"},
        {level, 1, "1", "1000", "set led [weak] info.modem.network.level"},
        {level, 2, "1", "1100", "set led [medium] info.modem.network.level"},
        {level, 3, "1", "1110", "set led [good] info.modem.network.level"},
        {level, 4, "1", "1111", "set led [excellent] info.modem.network.level"},
        // clang-format on
    };
    const rig modem;
    modem_state &state = *modem.state;
    for (const auto &[led, value, slot, levels, words] : rows) {
        SCOPED_TRACE(words);
        std::string command = "AT";
        for (std::size_t i = 0; i < levels.size(); i++)
            command +=
                (i > 0 ? ";+CGSETV=" : "+CGSETV=") + std::to_string(led.lines[i]) + "," + levels[i];
        for (const int isworking : {0, 1}) {
            if (&led == &level && isworking != 0) continue;  // the poll alone
            modem_status &target = isworking != 0 ? state.working : state.published;
            state.published = state.working = {};
            modem_copytext(target.settings.modem.slot, slot);
            state.lastledslot = state.lastledgnss = state.lastledlevel = value;
            state.*led.last = -1;
            modem.answer("\r\nERROR\r\n");
            EXPECT_EQ(led.set(&state, value, isworking), 2);
            EXPECT_EQ(modem.command(), command + "\r");
            EXPECT_EQ(target.info.kelvantorium.reason,
                      words + ": " + command + ": didn't get answer OK");
            EXPECT_STREQ(target.info.kelvantorium.prevstate, led.former);
            EXPECT_EQ(led.set(&state, value, isworking), 0) << "nothing new";
            EXPECT_EQ(modem.command(), "");
        }
    }
}

}  // namespace
