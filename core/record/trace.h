// SPDX-License-Identifier: ISC
// Traces on standard output: what passes between daemon and modem, for a person who watches.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// Prints like printf, at most 4095 octets a call, in one write. Any thread. A closed, full or
// stalled standard output loses the text and stops nothing: the call never blocks on a pipe.
[[gnu::format(printf, 1, 2)]] void modem_trace(const char *format, ...);

// Prints `head`, then every octet as "%02X ", then a line end.
void modem_tracehex(const char *head, std::span<const std::uint8_t> octets);
