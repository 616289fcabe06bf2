// SPDX-License-Identifier: ISC
// The network's answer to a USSD request, which comes unasked on the second port.
#pragma once

#include <string_view>

struct modem_state;

// One kind of answer and what becomes of it.
struct modem_ussdmarker {
    const char *text;    // in any case, anywhere in what was received
    const char *answer;  // info.ussd.answer; null: decoded from the line
    const char *log;
    int priority;
    int result;
    bool traced;  // the line goes to standard output, too
};

// The first marker of the table that is in `received`, or null.
const modem_ussdmarker *modem_classifyussd(std::string_view received);

// Drops what the second port has received, so that the reader sees only what comes later. Event
// loop, while no reader runs.
void modem_flushussd(modem_state *pmod);

// Waits up to 30 s for the answer and leaves the outcome in the working USSD group, never
// "running". 0: an answer decoded; 1: none in time; 2: the network or the modem says there is none;
// -1: not connected, input failed, or no text in the answer.
// Worker; a stop of the daemon waits for it.
int modem_getussdanswer(modem_state *pmod);
