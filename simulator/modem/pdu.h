// SPDX-License-Identifier: ISC
// Builders of SMS-DELIVER PDUs (TS 23.040) and of the character codings inside them: pure functions
// that turn readable text into what a network would deliver.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace simulator
{

using octets = std::vector<std::uint8_t>;

std::string tohex(std::span<const std::uint8_t> data);  // upper case
// Null when a character is no hexadecimal digit or one is left over.
std::optional<octets> fromhex(std::string_view text);

// Code points of UTF-8 text; every octet that does not belong becomes U+FFFD.
std::u32string decodeutf8(std::string_view text);
// UCS2 as the modem writes it: four hexadecimal digits per unit.
std::string ucs2hex(std::string_view utf8);

// Septets, least significant bit first, after `fill` zero bits (TS 23.038 6.1.2.1).
octets pack7bit(std::span<const std::uint8_t> septets, unsigned fill = 0);

enum class coding { bit7, bit8, ucs2 };

// The text in units of the coding: septets (codes below 128 as they are), CP1251 octets, or UCS2
// octets, high one first. What the coding cannot hold becomes '?'.
octets encode(coding how, std::string_view utf8);

struct message_part {
    unsigned reference = 0;
    bool wide = false;  // the 16-bit form of the reference
    unsigned count = 1;
    unsigned number = 1;
};

struct message {
    // All digits, a '+' before them or not: an international number. Anything else: alphanumeric,
    // at most 11 characters.
    std::string sender = "79161234567";
    std::string timestamp = "24111617020412";  // yymmddhhmmss, then the zone in quarters of an hour
    coding how = coding::bit7;
    octets text;  // as encode() gives it
    std::optional<message_part> part;
};

// The PDU as hexadecimal text, service centre address included.
std::string buildpdu(const message &from);

// Splits a text over as many PDUs as it needs, in part order, with the reference and its width
// taken from `concatenation`. `units` limits the characters per part (0: as many as fit). A text
// that fits into one PDU gets no header, unless `units` is given.
std::vector<std::string> splitpdus(const message &from,
                                   std::string_view utf8,
                                   const message_part &concatenation,
                                   std::size_t units = 0);

}  // namespace simulator
