// Conversions between CP1251, hexadecimal texts, packed septets and semi-octets.
#include "sms/text.h"

#include <cstring>

#include "core/trace.h"

namespace
{

constexpr char hexdigits[] = "0123456789ABCDEF";
constexpr unsigned groupsize = 4;           // digits of one UCS2 character
constexpr unsigned cyrillicoffset = 0x350;  // from 0xC0..0xFF to U+0410..U+044F
constexpr unsigned lastcommon = 126;        // up to here both sides have the same codes

struct modem_exception {
    unsigned cp1251;
    unsigned ucs2;
};

// The letters IO, which stand outside the alphabet's row on both sides.
constexpr modem_exception exceptions[] = {{0xB8, 0x0451}, {0xA8, 0x0401}};

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
    if (digit >= '0' && digit <= '9') return static_cast<unsigned>(digit - '0');
    if (digit >= 'A' && digit <= 'F') return static_cast<unsigned>(digit - 'A' + 10);
    if (digit >= 'a' && digit <= 'f') return static_cast<unsigned>(digit - 'a' + 10);
    return 0;
}

std::size_t modem_hextobin(std::string_view hex, std::span<std::uint8_t> octets)
{
    std::size_t count = 0;
    while (count < octets.size() && 2 * count + 1 < hex.size()) {
        const char *pair = hex.data() + 2 * count;
        if (pair[0] == '\0' || pair[1] == '\0') break;
        octets[count++] =
            static_cast<std::uint8_t>(modem_hexval(pair[0]) << 4 | modem_hexval(pair[1]));
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
        unsigned code = 0;
        for (unsigned digit = 0; digit < groupsize; digit++) {
            code = code << 4 | modem_hexval(strucs2.data()[used * groupsize + digit]);
        }
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
