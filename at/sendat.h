// SPDX-License-Identifier: ISC
// One AT transaction: the only way the daemon talks to the modem.
#pragma once

#include <string_view>

struct modem_state;

constexpr unsigned modem_attimeout = 15000;  // ms, of every exchange
constexpr char modem_atok[] = "OK\r\n";
constexpr unsigned modem_commandmax = 128;  // octets of a composed command, NUL included

// What became of an exchange.
enum modem_atresult : int {
    modematFailed = -1,  // no transaction: no port, no command, or a failed system call
    modematOk = 0,       // the expected text was found, or nothing was awaited
    modematTimeout = 1,  // neither it nor an error reply came in time
    modematError = 2,    // an error reply
};

// No answer, as opposed to an error reply.
constexpr bool modem_issilent(int result)
{
    return result == modematTimeout || result == modematFailed;
}

// Writes `strcmd` and a carriage return to the AT port and collects the reply until it holds
// `answer` (any case) or an error, at most `timeout` ms. A null `answer` collects until the
// time-out; a `timeout` of 0 sends and returns. `trace` non-zero prints the exchange.
//
// A modem_atresult. The reply stands in `atanswer`, its length in `atanswerlen`, NUL-terminated.
// Blocks up to `timeout`; for the thread that owns the port at the time, not re-entrant.
int modem_sendat(
    modem_state *pmod, const char *strcmd, const char *answer, unsigned timeout, int trace);

// The reply of the last transaction; empty when nothing was received.
std::string_view modem_getreply(const modem_state *pmod);
