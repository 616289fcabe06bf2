// SPDX-License-Identifier: ISC
// Octets written as hexadecimal text; blanks are only for the eye.
#pragma once

#include <charconv>
#include <string>

inline std::string octets(std::string hex)
{
    std::string bytes;
    std::erase(hex, ' ');
    for (const char *at = hex.data(); *at != '\0'; at += 2) {
        int octet = 0;
        (void)std::from_chars(at, at + 2, octet, 16);
        bytes += static_cast<char>(octet);
    }
    return bytes;
}
