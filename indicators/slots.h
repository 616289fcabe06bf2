// SPDX-License-Identifier: ISC
// SIM-slot detection through the modem's analogue input.
#pragma once

#include "core/record/state.h"

// Reads the input and writes both slot words into `target`. The slot mask: 0 no card, 1 slot 1
// only, 2 slot 2 only, 3 both; -1 when the modem did not answer, recorded in `target` with the
// former state word `prevstate`. A reply without a reading leaves
// the words and gives the mask that they mean. Thread: the target's owner.
int modem_getslotstate(modem_state *pmod, modem_info *target, const char *prevstate);
