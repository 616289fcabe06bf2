// SPDX-License-Identifier: ISC
// GPIO lines of the modem, driven with its own commands. A row is one operation: its lines and
// its purpose; the functions below send it for any row.
#pragma once

#include <cstdint>

#include "at/ask.h"

constexpr unsigned modem_linesmax = 4;

struct modem_lineop {
    std::uint8_t lines[modem_linesmax];  // line numbers of the modem; 0 ends the list
    const char *purpose;                 // first half of the failure reason
};

// Makes the lines outputs: "AT+CGDRT=line,1" joined by ";+CGDRT=". Result and failure rule as
// modem_ask; thread: the target's owner, or the port's owner for a null target.
int modem_setoutlines(modem_state *pmod,
                      modem_info *target,
                      const char *prevstate,
                      const modem_lineop &op);

// Sets their levels: "AT+CGSETV=line,level" joined by ";+CGSETV=", the levels being characters,
// one a line. `purpose` stands in for the row's where the reason names the value; null: the row's.
int modem_setlines(modem_state *pmod,
                   modem_info *target,
                   const char *prevstate,
                   const modem_lineop &op,
                   const char *levels,
                   const char *purpose = nullptr);
