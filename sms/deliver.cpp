// SPDX-License-Identifier: ISC
// Decoding of SMS-DELIVER (TS 23.040 9.2.2.1) against the one profile that is supported.
#include "sms/deliver.h"

#include <algorithm>
#include <cstdio>

#include "core/record/cursor.h"
#include "core/record/text.h"
#include "core/record/trace.h"
#include "sms/text.h"

namespace
{

using namespace std::string_view_literals;

constexpr std::size_t shortestpdu = 28;  // octets
constexpr std::size_t headsize = 11;     // up to the type of the originating address
constexpr std::size_t tailsize = 9;      // TP-DCS, TP-SCTS, TP-UDL

// The fixed octets and what they may be, in the order of checking.
struct modem_octetrule {
    std::size_t position;
    const char *name;
    std::string_view accepted;
};

constexpr modem_octetrule octetrules[] = {
    {0, "TP-SCA[0]", "\x07"sv},
    {1, "TP-SCA[1]", "\x91"sv},
    {8, "PDU-TYPE", "\x04\x24\x40\x44\x60\x64"sv},
    {10, "TP-OA[1]", "\x91\xD0"sv},
};
constexpr std::string_view headertypes = "\x40\x44\x60\x64"sv;  // PDU types with a header
constexpr std::uint8_t alphanumeric = 0xD0;

static_assert(octetrules[3].position < headsize, "all fixed octets stand in the head");
static_assert(headsize < shortestpdu, "every PDU that is looked at has a head");

// The two forms of the concatenation header (TS 23.040 9.2.3.24.1 and .8).
struct modem_headerform {
    std::uint8_t udhl;
    std::string_view iei;
    std::string_view iedl;
    bool wide;  // 16-bit reference
};

constexpr modem_headerform headerforms[] = {
    {5, "\x00"sv, "\x03"sv, false},
    {6, "\x08"sv, "\x04"sv, true},
};
constexpr std::string_view headerlengths = "\x05\x06"sv;

// A PDU while it is taken apart.
struct modem_pdu {
    modem_octets at;
    std::span<const std::uint8_t> octets;
    std::string_view hex;

    std::span<const std::uint8_t> userdata;  // from the header on, when there is one
    std::size_t headersize;                  // octets, UDHL included; 0: none
    unsigned length;                         // TP-UDL: septets or octets, by the coding
};

bool modem_isamong(std::uint8_t octet, std::string_view accepted)
{
    return accepted.find(static_cast<char>(octet)) != std::string_view::npos;
}

bool modem_accept(const char *name, std::uint8_t octet, std::string_view accepted)
{
    if (modem_isamong(octet, accepted)) return true;
    char wanted[64] = "";
    std::size_t used = 0;
    for (const char other : accepted) {
        used += static_cast<std::size_t>(std::snprintf(
            wanted + used, sizeof(wanted) - used, " != 0x%02X", static_cast<unsigned char>(other)));
    }
    modem_trace("modem_readsms: ERROR %s=0x%02X%s\n", name, octet, wanted);
    return false;
}

bool modem_accepthead(std::span<const std::uint8_t> head)
{
    for (const modem_octetrule &rule : octetrules) {
        if (!modem_accept(rule.name, head[rule.position], rule.accepted)) return false;
    }
    return true;
}

std::optional<std::span<const std::uint8_t>> modem_takefield(modem_pdu &pdu, std::size_t count)
{
    const std::size_t taken = pdu.octets.size() - pdu.at.rest.size();
    const std::optional<std::span<const std::uint8_t>> field = modem_takeoctets(pdu.at, count);
    if (!field) {
        modem_trace("modem_readsms: ERROR nbytes=%zu<%zu\n", pdu.octets.size(), taken + count);
    }
    return field;
}

// Septets are character codes as they stand.
std::string_view modem_astext(std::span<const std::uint8_t> octets)
{
    return {reinterpret_cast<const char *>(octets.data()), octets.size()};
}

void modem_decodesender(std::span<const std::uint8_t> address,
                        std::size_t count,
                        bool isname,
                        modem_deliver &message)
{
    if (!isname) {
        (void)modem_decodephone(address, count, message.sender);  // cut at the field
        return;
    }
    // As many characters as octets, which always hold them; the eighth of every seven is left out.
    std::uint8_t septets[sizeof(message.sender) - 1];
    const std::size_t wanted = std::min(address.size(), sizeof(septets));
    const std::size_t written = modem_unpack7bit(address, {septets, wanted});
    modem_copytext(message.sender, modem_astext({septets, written}));
}

// TP-PID, `position` being its own.
bool modem_acceptprotocol(std::uint8_t protocol, std::size_t position)
{
    if (protocol == 0) return true;
    char name[32];
    modem_settext(name, "ibuf=%zu TP-PID", position);
    return modem_accept(name, protocol, "\x00"sv);
}

void modem_decodetimestamp(std::span<const std::uint8_t> tail, modem_deliver &message)
{
    modem_decodetime(tail.subspan<1, 6>(), message.timestamp);
    modem_trace("modem_readsms: timestamp=%s, timezone=%u\n", message.timestamp,
                modem_decodebcd(tail[7]));
}

bool modem_acceptpart(const modem_headerform &form, modem_deliver &message)
{
    const unsigned at = form.udhl;
    modem_trace("modem_readsms: TP-UDH[%u](count parts)=0x%02X\n", at - 1, message.countparts);
    modem_trace("modem_readsms: TP-UDH[%u](num part)=0x%02X\n", at, message.part);
    if (message.part > modem_smspartsmax) {
        modem_trace("modem_readsms: ERROR TP-UDH[%u](num part)=0x%02X > 0x06\n", at, message.part);
        return false;
    }
    if (message.part < 1) {
        modem_trace("modem_readsms: ERROR TP-UDH[%u](num part)=0x%02X < 0x01\n", at, message.part);
        return false;
    }
    if (message.countparts > modem_smspartsmax) message.countparts = modem_smspartsmax;
    message.islong = message.countparts > 1;
    return true;
}

bool modem_decodeheader(modem_pdu &pdu, modem_deliver &message)
{
    const auto udhl = modem_takefield(pdu, 1);
    if (!udhl || !modem_accept("TP-UDH[0]", udhl->front(), headerlengths)) return false;
    const modem_headerform &form = headerforms[udhl->front() == headerforms[0].udhl ? 0 : 1];
    const auto header = modem_takefield(pdu, form.udhl);
    if (!header) return false;
    const std::span<const std::uint8_t> octets = *header;
    if (!modem_accept("TP-UDH[1]", octets[0], form.iei)) return false;
    if (!modem_accept("TP-UDH[2]", octets[1], form.iedl)) return false;
    pdu.headersize = form.udhl + std::size_t{1};
    message.randref[0] = octets[2];
    message.randref[1] = form.wide ? octets[3] : std::uint8_t{0};
    message.countparts = octets[form.udhl - 2U];
    message.part = octets[form.udhl - 1U];
    return modem_acceptpart(form, message);
}

void modem_settextoctets(modem_deliver &message, std::span<const std::uint8_t> octets)
{
    modem_copytext(message.text, modem_astext(octets));
    message.length = static_cast<unsigned>(octets.size());
}

bool modem_decodeucs2(const modem_pdu &pdu, modem_deliver &message)
{
    constexpr std::size_t most = 70;
    const std::size_t count = std::min(pdu.at.rest.size() / 2, most);
    const std::size_t start = 2 * (pdu.octets.size() - pdu.at.rest.size());
    // No character at all is refused and leaves the text empty.
    (void)modem_ucs2tocp1251(message.text, {pdu.hex.data() + start, 4 * count});
    message.length = static_cast<unsigned>(count);
    return true;
}

bool modem_decode8bit(const modem_pdu &pdu, modem_deliver &message)
{
    constexpr std::size_t most = 140;
    modem_settextoctets(message, pdu.at.rest.first(std::min(pdu.at.rest.size(), most)));
    return true;
}

// TP-UDL counts the septets of the header too, with the fill bits behind it (TS 23.040 9.2.3.24).
bool modem_decode7bit(const modem_pdu &pdu, modem_deliver &message)
{
    std::uint8_t septets[sizeof(message.text) - 1];
    const std::size_t count = modem_unpack7bit(pdu.userdata, {septets, pdu.length});
    if (count != pdu.length) {
        modem_trace("modem_readsms: ERROR decoded_sms_text_size=%zu != output_sms_text_length=%u\n",
                    count, pdu.length);
        return false;
    }
    const std::size_t skipped = std::min((pdu.headersize * 8 + 6) / 7, count);
    modem_settextoctets(message, {septets + skipped, count - skipped});
    return true;
}

struct modem_coding {
    std::string_view dcs;
    const char *name;
    unsigned limit;  // of TP-UDL
    bool (*decode)(const modem_pdu &pdu, modem_deliver &message);
};

constexpr modem_coding codings[] = {
    {"\x08\x18"sv, "16-bit UCS2", 140, modem_decodeucs2},
    {"\x04\x14"sv, "8-bit cp1251", 140, modem_decode8bit},
    {"\x00\x10"sv, "7-bit", 160, modem_decode7bit},
};

static_assert(codings[2].limit < sizeof(modem_deliver::text), "the longest part fits its text");

bool modem_decodetext(const modem_pdu &pdu, std::uint8_t dcs, modem_deliver &message)
{
    for (const modem_coding &coding : codings) {
        if (!modem_isamong(dcs, coding.dcs)) continue;
        modem_trace("modem_readsms: TP-DCS=%s\n", coding.name);
        if (pdu.length <= coding.limit) return coding.decode(pdu, message);
        modem_trace("modem_readsms: ERROR output_sms_text_length=%u > %u\n", pdu.length,
                    coding.limit);
        return false;
    }
    modem_trace("modem_readsms: TP-DCS=%02x NOT SUPPORT\n", dcs);
    return false;
}

}  // namespace

bool modem_findpdu(std::string_view reply, std::optional<std::string_view> &hex)
{
    hex.reset();
    const std::size_t end = modem_findnocase(reply, "\r\n\r\nOK");
    if (end == std::string_view::npos) {
        modem_trace("modem_readsms: \"\\r\\n\\r\\nOK\" not found\n");
        return false;
    }
    modem_cursor at = {{reply.data(), end}};
    if (!modem_skippastnocase(at, "+CMGR:")) {
        modem_trace("modem_readsms: \"+CMGR:\" not found\n");
        return false;
    }
    if (modem_skippast(at, "\n")) hex = at.rest;
    return true;
}

bool modem_decodedeliver(std::string_view hex,
                         std::span<const std::uint8_t> octets,
                         modem_deliver &message)
{
    message = {};
    if (octets.size() < shortestpdu) {
        modem_trace("modem_readsms: ERROR nbytes=%zu<28\n", octets.size());
        return false;
    }
    modem_pdu pdu = {{octets}, octets, hex, {}, 0, 0};
    const auto head = modem_takefield(pdu, headsize);
    if (!head || !modem_accepthead(*head)) return false;
    const std::size_t digits = (*head)[9];
    const auto address = modem_takefield(pdu, (digits + 1) / 2);
    if (!address) return false;
    modem_decodesender(*address, digits, (*head)[10] == alphanumeric, message);
    const auto protocol = modem_takefield(pdu, 1);
    if (!protocol || !modem_acceptprotocol(protocol->front(), headsize + address->size()))
        return false;
    modem_trace("modem_readsms: sender_phone_number=%s\n", message.sender);
    const auto tail = modem_takefield(pdu, tailsize);
    if (!tail) return false;
    modem_decodetimestamp(*tail, message);
    pdu.length = (*tail)[8];
    pdu.userdata = pdu.at.rest;
    if (modem_isamong((*head)[8], headertypes) && !modem_decodeheader(pdu, message)) return false;
    modem_trace("modem_readsms: TP-UDL=%u, buffer_length=%zu\n", pdu.length, pdu.at.rest.size());
    return modem_decodetext(pdu, (*tail)[0], message);
}
