// SPDX-License-Identifier: ISC
// The command pipe: one 32-bit word in host byte order per command, event loop to worker.
#pragma once

#include <cstdint>

struct modem_state;

enum modem_command : std::uint32_t {
    modemcmdStop = 0,
    modemcmdInit = 1,
    modemcmdUssdAnswer = 2,
};

// Writes one command. 0, or -1 with errno when fewer than 4 octets went out. Never blocks in
// practice: the pipe holds thousands of commands and at most a few are ever under way.
// Everything that belongs to the command must be in place before. Event loop.
int modem_sendcommand(modem_state *pmod, modem_command command);
