// SPDX-License-Identifier: ISC
// Writing to the command pipe.
#include "core/record/command.h"

#include <cerrno>
#include <unistd.h>

#include "core/record/flags.h"
#include "core/record/state.h"

int modem_sendcommand(modem_state *pmod, modem_command command)
{
    if (modem_getflag(pmod->istaskalive) == 0) {
        errno = EBADF;  // the worker never came to its pipe, or has ended and closed it
        return -1;
    }
    const std::uint32_t word = command;
    return write(pmod->fdcmd[1], &word, sizeof(word)) == sizeof(word) ? 0 : -1;
}
