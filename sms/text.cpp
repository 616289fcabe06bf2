// SPDX-License-Identifier: ISC
// Conversions between CP1251, hexadecimal texts, packed septets and semi-octets.
#include "sms/text.h"

#include <algorithm>
#include <cstring>

#include "core/record/trace.h"

namespace
{

constexpr char hexdigits[] = "0123456789ABCDEF";

// Digit values by octet: nearly all the time of decoding a message goes into its digits.
struct modem_hexvalues {
    std::uint8_t values[256] = {};
};

constexpr modem_hexvalues modem_listhexvalues()
{
    modem_hexvalues list;
    for (std::uint8_t value = 0; value < 16; value++) {
        const unsigned digit = static_cast<unsigned char>(hexdigits[value]);
        list.values[digit] = value;
        list.values[digit | 0x20U] = value;  // lower case; a decimal digit has that bit already
    }
    return list;
}

constexpr modem_hexvalues hexvalues = modem_listhexvalues();

constexpr unsigned groupsize = 4;           // digits of one UCS2 character
constexpr unsigned cyrillicoffset = 0x350;  // from 0xC0..0xFF to U+0410..U+044F
constexpr unsigned lastcommon = 126;        // up to here both sides have the same codes

struct modem_exception {
    unsigned cp1251;
    unsigned ucs2;
};

// The letters IO, which stand outside the alphabet's row on both sides.
constexpr modem_exception exceptions[] = {{0xB8, 0x0451}, {0xA8, 0x0401}};

// The numbers of a time in the order of the text: what precedes each, and its octet.
struct modem_timepart {
    std::string_view before;
    std::size_t octet;
};

constexpr modem_timepart timeparts[] = {
    {"", 2}, {"-", 1}, {"-20", 0}, {" ", 3}, {":", 4}, {":", 5},
};

unsigned modem_mapcp1251(unsigned octet)
{
    if (octet <= lastcommon) return octet;
    for (const modem_exception &letter : exceptions) {
        if (letter.cp1251 == octet) return letter.ucs2;
    }
    return octet + cyrillicoffset;
}

unsigned modem_mapucs2(unsigned code)
{
    if (code == 0) return ' ';
    if (code <= lastcommon) return code;
    for (const modem_exception &letter : exceptions) {
        if (letter.ucs2 == code) return letter.cp1251;
    }
    return (code >= cyrillicoffset ? code - cyrillicoffset : code) & 0xFF;
}

bool modem_refuseucs2(std::span<char> cp1251, std::string_view strucs2)
{
    const int length = static_cast<int>(strucs2.size());
    if (strucs2.data() == nullptr) {
        modem_trace("modem_ucs2tocp1251: pstrucs2 is null\n");
    } else if (strucs2.size() < groupsize) {
        modem_trace("modem_ucs2tocp1251: lenstrucs2=%d < 4\n", length);
    } else if (strucs2.size() % groupsize != 0) {
        modem_trace("modem_ucs2tocp1251: lenstrucs2=%d %% 4 is true\n", length);
    } else if (cp1251.empty()) {
        modem_trace("modem_ucs2tocp1251: pcp1251 is null\n");
    } else {
        return false;
    }
    return true;
}

}  // namespace

unsigned modem_hexval(char digit)
{
    return hexvalues.values[static_cast<unsigned char>(digit)];
}

std::size_t modem_hextobin(std::string_view hex, std::span<std::uint8_t> octets)
{
    const std::size_t end = std::min(hex.find('\0'), hex.size());
    const std::size_t count = std::min(end / 2, octets.size());
    for (std::size_t i = 0; i < count; i++) {
        const unsigned high = modem_hexval(hex.data()[2 * i]);
        octets[i] = static_cast<std::uint8_t>(high << 4 | modem_hexval(hex.data()[2 * i + 1]));
    }
    return count;
}

int modem_bintohex(unsigned value, char (&hex)[3])
{
    hex[0] = hexdigits[value >> 4 & 0x0F];
    hex[1] = hexdigits[value & 0x0F];
    hex[2] = '\0';
    return 0;
}

int modem_cp1251toucs2(const char *pcp1251, std::span<char> strucs2)
{
    if (pcp1251 == nullptr) {
        modem_trace("modem_cp1251toucs2: pcp1251 is null\n");
        return -1;
    }
    if (strucs2.empty()) {
        modem_trace("modem_cp1251toucs2: pstrucs2 is null\n");
        return -1;
    }
    const std::size_t length = std::strlen(pcp1251);
    modem_trace("modem_cp1251toucs2: lencp1251=%d\n", static_cast<int>(length));
    std::size_t used = 0;
    for (std::size_t i = 0; i < length && used + groupsize < strucs2.size(); i++) {
        const unsigned code = modem_mapcp1251(static_cast<unsigned char>(pcp1251[i]));
        for (const unsigned shift : {12U, 8U, 4U, 0U}) {
            strucs2[used++] = hexdigits[code >> shift & 0x0F];
        }
    }
    strucs2[used] = '\0';
    return 0;
}

int modem_ucs2tocp1251(std::span<char> cp1251, std::string_view strucs2)
{
    if (modem_refuseucs2(cp1251, strucs2)) return -1;
    std::size_t used = 0;
    for (; used * groupsize < strucs2.size() && used + 1 < cp1251.size(); used++) {
        const char *group = strucs2.data() + used * groupsize;
        const unsigned code = modem_hexval(group[0]) << 12 | modem_hexval(group[1]) << 8 |
                              modem_hexval(group[2]) << 4 | modem_hexval(group[3]);
        cp1251[used] = static_cast<char>(modem_mapucs2(code));
    }
    cp1251[used] = '\0';
    return 0;
}

std::size_t modem_unpack7bit(std::span<const std::uint8_t> packed, std::span<std::uint8_t> septets)
{
    const std::size_t bits = packed.size() * 8;
    std::size_t count = 0;
    for (; count < septets.size() && count * 7 < bits; count++) {
        const std::size_t octet = count * 7 / 8;
        const unsigned shift = count * 7 % 8;
        unsigned window = packed[octet];
        if (octet + 1 < packed.size()) window |= static_cast<unsigned>(packed[octet + 1]) << 8;
        septets[count] = window >> shift & 0x7F;
    }
    return count;
}

unsigned modem_decodebcd(std::uint8_t octet)
{
    return (octet >> 4U) + (octet & 0x0FU) * 10;
}

void modem_decodetime(std::span<const std::uint8_t, 6> scts, std::span<char> time)
{
    char text[32];  // impossible digits give numbers of up to 165
    std::size_t length = 0;
    for (const modem_timepart &part : timeparts) {
        for (const char c : part.before)
            text[length++] = c;
        const unsigned value = modem_decodebcd(scts[part.octet]);
        if (value >= 100) text[length++] = '1';
        text[length++] = static_cast<char>('0' + value / 10 % 10);
        text[length++] = static_cast<char>('0' + value % 10);
    }
    if (time.empty()) return;
    length = std::min(length, time.size() - 1);
    std::memcpy(time.data(), text, length);
    time[length] = '\0';
}

std::size_t modem_decodephone(std::span<const std::uint8_t> octets,
                              std::size_t count,
                              std::span<char> phone)
{
    if (phone.empty()) return 0;
    std::size_t digits = 0;
    for (; digits < count && digits / 2 < octets.size() && digits + 1 < phone.size(); digits++) {
        const unsigned pair = octets[digits / 2];
        phone[digits] = static_cast<char>('0' + (digits % 2 == 0 ? pair & 0x0F : pair >> 4));
    }
    phone[digits] = '\0';
    return digits;
}
