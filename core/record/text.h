// SPDX-License-Identifier: ISC
// Bounded writes into text fields: the capacity is deduced, never written twice.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "core/record/status.h"

// Cuts `text` at a NUL and at the field's capacity minus one, and terminates it. `text` may be part
// of the field itself.
inline void modem_copytext(modem_field field, std::string_view text)
{
    std::size_t length = text.find('\0');
    if (length > text.size()) length = text.size();
    if (length >= field.capacity) length = field.capacity - 1;
    std::memmove(field.text, text.data(), length);
    field.text[length] = '\0';
}

inline bool modem_isword(const char *field, const char *word)
{
    return std::strcmp(field, word) == 0;
}

// A control character; CP1251 has letters from 0x80 on.
inline bool modem_iscontrol(char c)
{
    const unsigned char octet = static_cast<unsigned char>(c);
    return octet < 0x20 || octet == 0x7F;
}

// Shows every control character as '?': a text of a client must not end a log line.
inline void modem_maskcontrols(modem_field field)
{
    for (char *c = field.text; *c != '\0'; c++) {
        if (modem_iscontrol(*c)) *c = '?';
    }
}

// Whether the text can stand between the double quotes of an AT argument (TS 27.007 has no escape
// for them): a quote would end the argument, a carriage return the command.
inline bool modem_isquotable(std::string_view text)
{
    for (const char c : text) {
        if (c == '"' || modem_iscontrol(c)) return false;
    }
    return true;
}

// Bounded formatting. The arguments must not point into the field.
template <std::size_t N>
[[gnu::format(printf, 2, 3)]] inline void modem_settext(char (&field)[N], const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    (void)std::vsnprintf(field, N, format, arguments);  // cutting is the contract
    va_end(arguments);
}
