// SPDX-License-Identifier: ISC
// Traces on standard output: what passes between daemon and modem, for a person who watches.
//
// Any thread. A closed, full or stalled standard output loses the text and stops nothing: no call
// blocks on a pipe. While traces are off nothing is formatted either.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// Prints like printf, at most 2047 octets a call, in one write.
[[gnu::format(printf, 1, 2)]] void modem_trace(const char *format, ...);

// Prints `head`, then every octet as "%02X ", then a line end.
void modem_tracehex(const char *head, std::span<const std::uint8_t> octets);

// Whether traces are written; they are until somebody says otherwise.
bool modem_istracing();
void modem_settracing(bool on);
