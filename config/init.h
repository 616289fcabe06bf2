// SPDX-License-Identifier: ISC
// The initialisation of the modem by the AT script, from the settings of the package.
#pragma once

struct modem_state;

// Reads the settings, opens the ports and runs the AT script. 0 "op", 1 "nosim", -1 failed; the
// outcome is in the working copy's state words. Worker; takes at least 10 s, up to minutes.
int modem_init(modem_state *pmod);
