// SPDX-License-Identifier: ISC
// The steps of a poll pass. Event loop, published copy; each blocks for its AT exchanges.
#pragma once

#include "core/record/state.h"

// What lives for one pass.
struct modem_pass {
    char stateword[6];       // before the pass, for whoever records a failure in it
    std::uint32_t capacity;  // of the SIM's SMS storage
};

// Non-zero ends the pass.
using modem_pollstep = int (*)(modem_state *pmod, modem_pass &pass);

// Publishes the outcome of a USSD request.
int modem_pollussd(modem_state *pmod, modem_pass &pass);
int modem_pollslots(modem_state *pmod, modem_pass &pass);
// Notices that the card of the selected slot is gone.
int modem_pollsim(modem_state *pmod, modem_pass &pass);
int modem_pollgnss(modem_state *pmod, modem_pass &pass);
// Registration, operator name, data link.
int modem_polloperator(modem_state *pmod, modem_pass &pass);
// Technology, signal values, signal bar.
int modem_pollradio(modem_state *pmod, modem_pass &pass);
int modem_pollcapacity(modem_state *pmod, modem_pass &pass);
// Reads every index of the storage, takes messages in and deletes them.
int modem_pollsms(modem_state *pmod, modem_pass &pass);
int modem_pollcounter(modem_state *pmod, modem_pass &pass);
