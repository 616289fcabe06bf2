// SPDX-License-Identifier: ISC
// Builders of SMS-DELIVER PDUs and of the character codings inside them.
#include "simulator/modem/pdu.h"

#include <algorithm>
#include <array>

namespace simulator
{
namespace
{

constexpr char hexdigits[] = "0123456789ABCDEF";
constexpr std::size_t maxuserdata = 140;  // octets of TP-UD
constexpr std::size_t maxsender = 11;     // characters that the ten octets of TP-OA hold

int hexvalue(char digit)
{
    if (digit >= '0' && digit <= '9') return digit - '0';
    const int letter = digit | 0x20;
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

std::uint8_t tocp1251(char32_t point)
{
    if (point < 0x80) return static_cast<std::uint8_t>(point);
    if (point >= U'А' && point <= U'я') return static_cast<std::uint8_t>(point - U'А' + 0xC0);
    if (point == U'Ё') return 0xA8;
    if (point == U'ё') return 0xB8;
    return point == U'№' ? 0xB9 : '?';
}

void appenducs2(octets &out, char32_t point)
{
    const auto unit = [&out](char32_t value) {
        out.push_back(static_cast<std::uint8_t>(value >> 8 & 0xFF));
        out.push_back(static_cast<std::uint8_t>(value & 0xFF));
    };
    if (point < 0x10000) return unit(point);
    unit(0xD800 + ((point - 0x10000) >> 10));
    unit(0xDC00 + (point & 0x3FF));
}

// Semi-octets, low nibble first; an odd digit gets the filler F (TS 23.040 9.1.2.3).
void appendsemioctets(octets &out, std::string_view digits)
{
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const int high = i + 1 < digits.size() ? digits[i + 1] - '0' : 0xF;
        out.push_back(static_cast<std::uint8_t>(high << 4 | (digits[i] - '0')));
    }
}

void appendsender(octets &out, std::string_view sender)
{
    if (sender.starts_with('+')) sender.remove_prefix(1);
    if (std::all_of(sender.begin(), sender.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        out.push_back(static_cast<std::uint8_t>(sender.size()));
        out.push_back(0x91);
        return appendsemioctets(out, sender);
    }
    octets septets = encode(coding::bit7, sender);
    septets.resize(std::min(septets.size(), maxsender));
    // The length counts the semi-octets in use, also for packed characters (TS 23.040 9.1.2.5).
    out.push_back(static_cast<std::uint8_t>((septets.size() * 7 + 3) / 4));
    out.push_back(0xD0);
    const octets packed = pack7bit(septets);
    out.insert(out.end(), packed.begin(), packed.end());
}

octets header(const message_part &part)
{
    octets out = part.wide ? octets{0x06, 0x08, 0x04} : octets{0x05, 0x00, 0x03};
    if (part.wide) out.push_back(static_cast<std::uint8_t>(part.reference >> 8 & 0xFF));
    for (const unsigned value : {part.reference, part.count, part.number})
        out.push_back(static_cast<std::uint8_t>(value & 0xFF));
    return out;
}

// TP-UDL and TP-UD. Septets begin on a septet boundary after the header, whose space the length
// counts too.
void appenduserdata(octets &out, const message &from)
{
    const octets head = from.part ? header(*from.part) : octets();
    const std::size_t headseptets = (head.size() * 8 + 6) / 7;
    const bool packed = from.how == coding::bit7;
    const octets body =
        packed ? pack7bit(from.text, static_cast<unsigned>(headseptets * 7 - head.size() * 8))
               : from.text;
    const std::size_t length = from.text.size() + (packed ? headseptets : head.size());
    out.push_back(static_cast<std::uint8_t>(length));
    out.insert(out.end(), head.begin(), head.end());
    out.insert(out.end(), body.begin(), body.end());
}

// Units of encode() that fit beside a header of `headsize` octets.
std::size_t roomfor(coding how, std::size_t headsize)
{
    const std::size_t room = maxuserdata - headsize;
    if (how == coding::bit7) return room * 8 / 7;
    return how == coding::ucs2 ? room & ~std::size_t{1} : room;
}

}  // namespace

std::string tohex(std::span<const std::uint8_t> data)
{
    std::string out;
    for (const std::uint8_t octet : data) {
        out.push_back(hexdigits[octet >> 4]);
        out.push_back(hexdigits[octet & 0xF]);
    }
    return out;
}

std::optional<octets> fromhex(std::string_view text)
{
    octets out;
    if (text.size() % 2 != 0) return std::nullopt;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const int high = hexvalue(text[i]);
        const int low = hexvalue(text[i + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        out.push_back(static_cast<std::uint8_t>(high << 4 | low));
    }
    return out;
}

std::u32string decodeutf8(std::string_view text)
{
    std::u32string out;
    for (std::size_t i = 0; i < text.size(); i++) {
        const auto lead = static_cast<std::uint8_t>(text[i]);
        const std::size_t more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
        char32_t point = lead < 0x80 ? lead : lead & (0x3FU >> more);
        bool sound = lead < 0x80 || (lead >= 0xC2 && lead < 0xF5 && i + more < text.size());
        for (std::size_t k = 1; sound && k <= more; k++) {
            const auto next = static_cast<std::uint8_t>(text[i + k]);
            sound = (next & 0xC0) == 0x80;
            point = point << 6 | (next & 0x3F);
        }
        out.push_back(sound ? point : U'\uFFFD');
        if (sound) i += more;
    }
    return out;
}

std::string ucs2hex(std::string_view utf8)
{
    return tohex(encode(coding::ucs2, utf8));
}

octets pack7bit(std::span<const std::uint8_t> septets, unsigned fill)
{
    octets out((septets.size() * 7 + fill + 7) / 8);
    std::size_t bit = fill;
    for (const std::uint8_t septet : septets) {
        for (unsigned k = 0; k < 7; k++, bit++)
            out[bit / 8] |= static_cast<std::uint8_t>((septet >> k & 1) << bit % 8);
    }
    return out;
}

octets encode(coding how, std::string_view utf8)
{
    octets out;
    for (const char32_t point : decodeutf8(utf8)) {
        if (how == coding::ucs2)
            appenducs2(out, point);
        else if (how == coding::bit8)
            out.push_back(tocp1251(point));
        else
            out.push_back(point < 0x80 ? static_cast<std::uint8_t>(point) : '?');
    }
    return out;
}

std::string buildpdu(const message &from)
{
    constexpr std::array<std::uint8_t, 3> schemes = {0x00, 0x04, 0x08};
    octets out = {0x07, 0x91};
    appendsemioctets(out, "79160000000");
    // SMS-DELIVER, no more messages to send; with the header indicator for a part.
    out.push_back(from.part ? 0x44 : 0x04);
    appendsender(out, from.sender);
    out.push_back(0x00);
    out.push_back(schemes[static_cast<std::size_t>(from.how)]);
    appendsemioctets(out, from.timestamp);
    appenduserdata(out, from);
    return tohex(out);
}

std::vector<std::string> splitpdus(const message &from,
                                   std::string_view utf8,
                                   const message_part &concatenation,
                                   std::size_t units)
{
    const octets all = encode(from.how, utf8);
    message one = from;
    one.text = all;
    if (units == 0 && all.size() <= roomfor(from.how, 0)) return {buildpdu(one)};

    const std::size_t room = roomfor(from.how, header(concatenation).size());
    const std::size_t wanted = from.how == coding::ucs2 ? units * 2 : units;
    const std::size_t size = units == 0 ? room : std::min(room, wanted);
    message_part part = concatenation;
    part.count = static_cast<unsigned>(std::max<std::size_t>(1, (all.size() + size - 1) / size));
    std::vector<std::string> out;
    for (part.number = 1; part.number <= part.count; part.number++) {
        const std::size_t from_unit = (part.number - 1) * size;
        const std::size_t to_unit = std::min(all.size(), from_unit + size);
        one.text.assign(all.begin() + static_cast<std::ptrdiff_t>(from_unit),
                        all.begin() + static_cast<std::ptrdiff_t>(to_unit));
        one.part = part;
        out.push_back(buildpdu(one));
    }
    return out;
}

}  // namespace simulator
