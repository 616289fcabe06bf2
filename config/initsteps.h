// SPDX-License-Identifier: ISC
// Those steps of the initialisation that are more than one command with one answer.
//
// Each gives 0 to go on, 1 when it ended the run in "nosim", -1 when it failed, with the outcome
// recorded in the working copy. Worker.
#pragma once

struct modem_state;

int modem_initrs485(modem_state *pmod);
int modem_initgnssled(modem_state *pmod);
// The receiver refuses its mode while it starts: repeated once a second while the answer is an
// error, at most 60 times and not beyond a stop of the daemon.
int modem_initgnssmode(modem_state *pmod);
int modem_initslotswitch(modem_state *pmod);
int modem_initslotleds(modem_state *pmod);
int modem_initlevelleds(modem_state *pmod);
// Detects the cards and shows them.
int modem_initslotstate(modem_state *pmod);
// Ends the run when the selected slot is empty.
int modem_initcard(modem_state *pmod);
int modem_initsimlock(modem_state *pmod);
// Parts of long messages do not outlive a new start of the modem.
int modem_initlongsms(modem_state *pmod);
int modem_initclearcontexts(modem_state *pmod);
int modem_initcontext(modem_state *pmod);
