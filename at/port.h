// SPDX-License-Identifier: ISC
// The modem's two serial ports: the AT port (interface 4) and the second port (interface 5), which
// is only read, for USSD answers.
#pragma once

struct modem_state;

// Closes what is open, opens both ports and puts them into raw, non-blocking mode. 0, or -1 with
// the reason logged; then no transaction runs until the next call. Worker, does not block.
int modem_comport_connect(modem_state *pmod);
