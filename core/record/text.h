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

// Bounded formatting. The arguments must not point into the field.
template <std::size_t N>
[[gnu::format(printf, 2, 3)]] inline void modem_settext(char (&field)[N], const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    (void)std::vsnprintf(field, N, format, arguments);  // cutting is the contract
    va_end(arguments);
}
