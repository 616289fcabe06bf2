// SPDX-License-Identifier: ISC
// One AT transaction: the only way the daemon talks to the modem.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

struct modem_state;

constexpr unsigned modem_attimeout = 15000;  // ms, of every exchange
constexpr char modem_atok[] = "OK\r\n";
constexpr unsigned modem_commandmax = 128;  // octets of a composed command, NUL included

// Writes `strcmd` and a carriage return to the AT port and collects the reply until it holds
// `answer` (any case) or an error, at most `timeout` ms. A null `answer` collects until the
// time-out; a `timeout` of 0 sends and returns. `trace` non-zero prints the exchange.
//
// 0: expected text found, or nothing awaited; 1: time-out; 2: error reply; -1: no transaction.
// The reply stands in `atanswer`, its length in `atanswerlen` (at most 560, NUL-terminated).
// Blocks up to `timeout`; for the thread that owns the port at the time, not re-entrant.
int modem_sendat(
    modem_state *pmod, const char *strcmd, const char *answer, unsigned timeout, int trace);

// The reply of the last transaction; empty when nothing was received.
std::string_view modem_getreply(const modem_state *pmod);

// Takes up the octets of one read behind `length` characters already in `text`; a chunk that does
// not fit starts the text anew. Terminates and gives the new length. `chunk` is at most 560.
std::size_t modem_accumulate(char (&text)[561],
                             std::size_t length,
                             std::span<const std::uint8_t> chunk);

// Reads what a port has, at most 560 octets, into `chunk`: the count, or -1. A port that hangs up
// keeps reporting input and gives nothing; such a call takes a while, so that waiting for the
// time-out costs no processor time.
int modem_readchunk(int fd, std::uint8_t (&chunk)[560]);
