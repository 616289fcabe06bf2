// SPDX-License-Identifier: ISC
// Cursors over reply text and octets.
#include "core/record/cursor.h"

#include <cstdlib>
#include <cstring>
#include <strings.h>

namespace
{

constexpr std::size_t numbermax = 31;  // characters of a number that are looked at

// A terminated copy of a number field, as the C conversions want it.
struct modem_scratch {
    char text[numbermax + 1];
};

modem_scratch modem_makescratch(std::string_view field)
{
    modem_scratch scratch = {};
    const std::size_t length = field.size() < numbermax ? field.size() : numbermax;
    std::memcpy(scratch.text, field.data(), length);
    return scratch;
}

bool modem_isblank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool modem_skipto(modem_cursor &at, std::size_t position, std::size_t markersize)
{
    if (position == std::string_view::npos) return false;
    at.rest.remove_prefix(position + markersize);
    return true;
}

}  // namespace

std::size_t modem_findnocase(std::string_view text, std::string_view needle)
{
    for (std::size_t at = 0; at + needle.size() <= text.size(); at++) {
        if (strncasecmp(text.data() + at, needle.data(), needle.size()) == 0) return at;
    }
    return std::string_view::npos;
}

bool modem_skippast(modem_cursor &at, std::string_view marker)
{
    return modem_skipto(at, at.rest.find(marker), marker.size());
}

bool modem_skippastnocase(modem_cursor &at, std::string_view marker)
{
    return modem_skipto(at, modem_findnocase(at.rest, marker), marker.size());
}

std::optional<std::string_view> modem_takeuntil(modem_cursor &at, char end)
{
    const std::size_t length = at.rest.find(end);
    if (length == std::string_view::npos) return std::nullopt;
    const std::string_view field(at.rest.data(), length);
    at.rest.remove_prefix(length + 1);
    return field;
}

std::optional<std::string_view> modem_takequoted(modem_cursor &at)
{
    modem_cursor inside = at;
    if (!modem_skippast(inside, "\"")) return std::nullopt;
    const std::optional<std::string_view> text = modem_takeuntil(inside, '"');
    if (text) at = inside;
    return text;
}

std::string_view modem_takeword(modem_cursor &at)
{
    while (!at.rest.empty() && modem_isblank(at.rest.front()))
        at.rest.remove_prefix(1);
    std::size_t length = 0;
    while (length < at.rest.size() && !modem_isblank(at.rest.data()[length]))
        length++;
    const std::string_view word(at.rest.data(), length);
    at.rest.remove_prefix(length);
    return word;
}

bool modem_readnumber(std::string_view field, float &value)
{
    const modem_scratch scratch = modem_makescratch(field);
    char *end = nullptr;
    const float number = std::strtof(scratch.text, &end);
    if (end == scratch.text) return false;
    value = number;
    return true;
}

bool modem_readnumber(std::string_view field, std::uint32_t &value)
{
    const modem_scratch scratch = modem_makescratch(field);
    char *end = nullptr;
    const unsigned long number = std::strtoul(scratch.text, &end, 10);
    if (end == scratch.text) return false;
    value = static_cast<std::uint32_t>(number);
    return true;
}

std::optional<std::uint8_t> modem_takeoctet(modem_octets &at)
{
    if (at.rest.empty()) return std::nullopt;
    const std::uint8_t octet = at.rest.data()[0];
    at.rest = {at.rest.data() + 1, at.rest.size() - 1};
    return octet;
}

std::optional<std::span<const std::uint8_t>> modem_takeoctets(modem_octets &at, std::size_t count)
{
    if (at.rest.size() < count) return std::nullopt;
    const std::span<const std::uint8_t> octets(at.rest.data(), count);
    at.rest = {at.rest.data() + count, at.rest.size() - count};
    return octets;
}
