// SPDX-License-Identifier: ISC
// The router's indicators and lines: LEDs, SIM-slot switch, RS-485 pull.
//
// All give the result of modem_sendat. Those with a status target record their failure there with
// the given former state word; null: nowhere. The former state word must not point into the
// target. They run on the thread that owns the AT port and the target.
#pragma once

#include "core/record/state.h"

int modem_setoutslotleds(modem_state *pmod, modem_info *target, const char *prevstate);
// `pattern`: four '0' or '1': slot 1 red, green, slot 2 red, green.
int modem_applyslotled(modem_state *pmod,
                       modem_info *target,
                       const char *pattern,
                       const char *prevstate);
int modem_setoutgnssled(modem_state *pmod, modem_info *target, const char *prevstate);
int modem_applygnssled(modem_state *pmod, modem_info *target, int value, const char *prevstate);
int modem_setoutlevelleds(modem_state *pmod, modem_info *target, const char *prevstate);
// `level`: 0 none to 4 all four.
int modem_applyledlevel(modem_state *pmod, modem_info *target, int level, const char *prevstate);
int modem_setoutslotswitch(modem_state *pmod, modem_info *target, const char *prevstate);
int modem_setslotswitch(modem_state *pmod, modem_info *target, int value, const char *prevstate);
int modem_setoutrs485pull(modem_state *pmod, modem_info *target, const char *prevstate);
int modem_setrs485pull(modem_state *pmod, modem_info *target, int value, const char *prevstate);

// The same, but silent (0) while the value is the one last sent; a failed command is not repeated
// until the value changes. `isworking` selects the copy whose settings and state words count:
// non-zero the working one, 0 the published one.
int modem_setslotled(modem_state *pmod, int slotmask, const char *prevstate, int isworking);
int modem_setgnssled(modem_state *pmod, int value, const char *prevstate, int isworking);
// Published copy, state word "op".
int modem_setledlevel(modem_state *pmod, int level);
