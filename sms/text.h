// SPDX-License-Identifier: ISC
// Conversions between CP1251, the modem's hexadecimal texts, packed septets and semi-octets.
//
// Pure but for trace lines; any thread. Every output is bounded by its span or array, whatever the
// input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

// Value of a hexadecimal digit of either case; 0 for any other character.
unsigned modem_hexval(char digit);

// Pairs of digits to octets, up to a NUL or the end of either side; a lone last digit is dropped.
// Number of octets written.
std::size_t modem_hextobin(std::string_view hex, std::span<std::uint8_t> octets);

// The low 8 bits as two upper-case digits. Always 0.
int modem_bintohex(unsigned value, char (&hex)[3]);

// CP1251 text to four digits a character, terminated; whole characters only when `strucs2` is
// shorter than 4 x length + 1. 0, or -1 when either side is null.
int modem_cp1251toucs2(const char *pcp1251, std::span<char> strucs2);

// Groups of four digits to CP1251, terminated, cut at the capacity. Exact for ASCII and Russian
// letters, U+0000 gives a blank, others keep their low octet. 0, or -1 with the output untouched
// when a side is null, or the digits are fewer than 4 or no multiple of 4.
int modem_ucs2tocp1251(std::span<char> cp1251, std::string_view strucs2);

// Packed septets (TS 23.038 6.1.2.1) to one octet each, as they stand: no alphabet is applied. The
// top bits that a last octet has left over count as one more septet. Writes at most
// `septets.size()`; the number written.
std::size_t modem_unpack7bit(std::span<const std::uint8_t> packed, std::span<std::uint8_t> septets);

// Octet in swapped BCD to its number; the low nibble holds the tens.
unsigned modem_decodebcd(std::uint8_t octet);

// The first six octets of a time stamp (TS 23.040 9.2.3.11), the zone left out, to dd-mm-20yy
// hh:mm:ss, terminated and cut at the capacity.
void modem_decodetime(std::span<const std::uint8_t, 6> scts, std::span<char> time);

// Semi-octets to digits, low nibble first, terminated and cut at the capacity. The digits written.
std::size_t modem_decodephone(std::span<const std::uint8_t> octets,
                              std::size_t count,
                              std::span<char> phone);
