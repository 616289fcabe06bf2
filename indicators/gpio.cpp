// SPDX-License-Identifier: ISC
// Composing and sending the commands of GPIO operations.
#include "indicators/gpio.h"

#include "at/sendat.h"
#include "core/record/text.h"

namespace
{

// "AT+<name>=<line>,<level>;+<name>=..." over the lines of the operation.
void modem_composelines(char (&command)[modem_commandmax],
                        const char *name,
                        const modem_lineop &op,
                        const char *levels)
{
    const char *lead = "AT";
    std::size_t length = 0;
    command[0] = '\0';
    for (unsigned i = 0; i < modem_linesmax && op.lines[i] != 0; i++) {
        const int written = std::snprintf(command + length, sizeof(command) - length, "%s+%s=%d,%c",
                                          lead, name, op.lines[i], levels[i]);
        if (written < 0 || length + static_cast<std::size_t>(written) >= sizeof(command)) return;
        length += static_cast<std::size_t>(written);
        lead = ";";
    }
}

}  // namespace

int modem_setoutlines(modem_state *pmod,
                      modem_info *target,
                      const char *prevstate,
                      const modem_lineop &op)
{
    char command[modem_commandmax];
    modem_composelines(command, "CGDRT", op, "1111");
    return modem_ask(pmod, target, prevstate, command, op.purpose);
}

int modem_setlines(modem_state *pmod,
                   modem_info *target,
                   const char *prevstate,
                   const modem_lineop &op,
                   const char *levels,
                   const char *purpose)
{
    char command[modem_commandmax];
    modem_composelines(command, "CGSETV", op, levels);
    return modem_ask(pmod, target, prevstate, command, purpose != nullptr ? purpose : op.purpose);
}
