// SPDX-License-Identifier: ISC
// The data link usb0: asks the network service to bring it up and down, and reads its address and
// default gateway.
//
// Event loop. The call waits up to a second. The look-up of the object before it waits for the
// broker without a limit, for the bus library knows none: a broker that hangs holds the daemon.
#pragma once

struct modem_state;

// Call "up" or "down" of the network service. A missing service is logged, a failed call is not
// noticed.
void modem_lteup(modem_state *pmod);
void modem_ltedown(modem_state *pmod);

// Asks for "up" once after every loss, then publishes address and gateway as soon as both are
// there and sets info.network.state to "connected"; until then it leaves all three.
void modem_checklink(modem_state *pmod);
