// SPDX-License-Identifier: ISC
// One cursor for reading the modem's replies, one for octets. Neither can run past its end.
//
// A take that fails leaves the cursor where it was and returns nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

struct modem_cursor {
    std::string_view rest;
};

// Moves to just after the first `marker`; false when there is none.
bool modem_skippast(modem_cursor &at, std::string_view marker);
// The same, ignoring ASCII case.
bool modem_skippastnocase(modem_cursor &at, std::string_view marker);
// The text up to `end`, which is skipped too; null when `end` is missing.
std::optional<std::string_view> modem_takeuntil(modem_cursor &at, char end);
// The text between the next two double quotes.
std::optional<std::string_view> modem_takequoted(modem_cursor &at);
// The next word: blanks and line ends skipped, then up to the next of them; empty at the end.
std::string_view modem_takeword(modem_cursor &at);

// Position of `needle` in `text`, ignoring ASCII case; npos when absent.
std::size_t modem_findnocase(std::string_view text, std::string_view needle);

// Numbers as "%u" and "%f" read them, from at most the first 31 characters of a field. An empty or
// unreadable field leaves the value as it was and gives false.
bool modem_readnumber(std::string_view field, float &value);
bool modem_readnumber(std::string_view field, std::uint32_t &value);

struct modem_octets {
    std::span<const std::uint8_t> rest;
};

std::optional<std::uint8_t> modem_takeoctet(modem_octets &at);
// The next `count` octets; null when fewer are left.
std::optional<std::span<const std::uint8_t>> modem_takeoctets(modem_octets &at, std::size_t count);
