// SPDX-License-Identifier: ISC
// Send, expect OK, record the failure.
#include "at/ask.h"

#include "at/sendat.h"
#include "core/record/transition.h"

int modem_ask(modem_state *pmod,
              modem_info *target,
              const char *prevstate,
              const char *command,
              const char *purpose,
              const char *shown)
{
    const int result = modem_sendat(pmod, command, modem_atok, modem_attimeout, 1);
    if (result != modematOk) {
        modem_settransition(target, {.prevstate = prevstate}, "%s: %s: didn't get answer OK",
                            purpose, shown != nullptr ? shown : command);
    }
    return result;
}
