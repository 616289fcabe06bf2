// SPDX-License-Identifier: ISC
// The table in which parts of long messages wait for each other. In memory only.
//
// Event loop; the initialisation clears the table while the poll is held off.
#pragma once

#include <cstdint>

#include "core/record/state.h"

// Finds the entry of a reference, or chooses the one to use: the last free one, else the first,
// whatever it held. 1: found, 0: chosen, -1: `entry` is null. (0, 0) finds the first free entry.
int modem_isfindsms(modem_state *pmod, const std::uint8_t (&randref)[2], longsms_entry **entry);

// Joins the texts of parts 1 to `countparts` (at most 6) and frees the entry; the part texts stay
// in it. The characters joined.
unsigned modem_joinparts(longsms_entry &entry, unsigned countparts, modem_smstext &text);
