// SPDX-License-Identifier: ISC
// Commands of the message service: the storage of the SIM card and sending, in PDU mode only.
#include <algorithm>

#include "simulator/modem/command.h"
#include "simulator/modem/pdu.h"

namespace simulator
{
namespace
{

// Octets of a PDU after its service centre address; null when it is no PDU.
std::optional<std::size_t> tpdulength(std::string_view pdu)
{
    const std::optional<octets> data = fromhex(pdu);
    if (!data || data->empty() || data->size() < 1U + data->front()) return std::nullopt;
    return data->size() - 1 - data->front();
}

// Why the messages of the card cannot be used; result ok when they can.
outcome storagestate(const modem_model &modem)
{
    const outcome card = cardstate(modem);
    constexpr unsigned needspuk = 12;  // the one code that is not the other's plus 300
    if (card.how != result::ok) return cmsfailed(card.code == needspuk ? 316 : 300 + card.code);
    if (modem.now < cardready(modem) + modem.profile.sms_delay) return cmsfailed(314);
    return {};
}

outcome selectstorage(modem_model &modem, const request &asked, information &lines)
{
    if (const outcome bad = storagestate(modem); bad.how != result::ok) return bad;
    const std::string used = std::to_string(modem.storage.size());
    const std::string total = std::to_string(modem.storage_capacity);
    std::string line = "+CPMS: ";
    for (int i = 0; i < 3; i++) {
        if (i > 0) line += ",";
        line += (asked.how == form::query ? "\"SM\"," : "") + used + "," + total;
    }
    lines.push_back(line);
    return {};
}

outcome readmessage(modem_model &modem, const request &asked, information &lines)
{
    if (const outcome bad = storagestate(modem); bad.how != result::ok) return bad;
    const std::optional<unsigned> index = asked.number(0);
    if (!index || *index < 1 || *index > modem.storage_capacity) return cmsfailed(321);
    const auto found = modem.storage.find(*index);
    if (found == modem.storage.end()) return {};
    lines.push_back("+CMGR: " + std::string(found->second.read ? "1" : "0") + ",\"\"," +
                    std::to_string(tpdulength(found->second.pdu).value_or(0)) + "\r\n" +
                    found->second.pdu);
    found->second.read = true;
    return {};
}

outcome deletemessage(modem_model &modem, const request &asked, information &)
{
    if (const outcome bad = storagestate(modem); bad.how != result::ok) return bad;
    if (asked.text(1) == "4") {
        modem.storage.clear();
        return {};
    }
    const std::optional<unsigned> index = asked.number(0);
    if (!index || *index < 1 || *index > modem.storage_capacity) return cmsfailed(321);
    modem.storage.erase(*index);
    return {};
}

outcome startmessage(modem_model &modem, const request &asked, information &)
{
    const std::optional<unsigned> length = asked.number(0);
    if (!length) return cmsfailed(304);
    modem_port &own = modem.ports[asked.where];
    own.prompting = true;
    own.announced = *length;
    return {result::prompt};
}

constexpr std::string_view toldatonce = "2,1,0,0,0";  // of AT+CNMI, before it is set

// Whether AT+CNMI asks for a line when a message arrives: <mode> above 0, <mt> 1.
bool isarrivaltold(const modem_model &modem)
{
    const std::string_view chosen = setting(modem, "+CNMI", toldatonce);
    return !chosen.starts_with('0') &&
           chosen.substr(std::min<std::size_t>(chosen.size(), 1)).starts_with(",1");
}

constexpr command commands[] = {
    {"+CLIP", remember, "0 1", "0"}, {"+CSCS", remember, "IRA GSM UCS2", "\"IRA\""},
    {"+CMGF", remember, "0", "0"},   {"+CNMI", remember, "", toldatonce},
    {"+CPMS", selectstorage, "SM"},  {"+CMGR", readmessage},
    {"+CMGD", deletemessage},        {"+CMGS", startmessage},
};

}  // namespace

std::span<const command> messagecommands()
{
    return commands;
}

outcome submit(modem_model &modem, std::string_view pdu, std::size_t announced, information &lines)
{
    const std::optional<std::size_t> length = tpdulength(pdu);
    if (!length || *length != announced) return cmsfailed(304);
    if (!isregistered(modem)) return cmsfailed(331);
    modem.sent.emplace_back(pdu);
    lines.push_back("+CMGS: " + std::to_string(modem.sent.size() % 256));
    return {};
}

unsigned storemessage(modem_model &modem, std::string_view pdu, unsigned index)
{
    if (index > modem.storage_capacity) return 0;
    unsigned place = index;
    if (place == 0)
        for (place = 1; modem.storage.contains(place);)
            place++;
    if (place > modem.storage_capacity) return 0;
    modem.storage[place] = {std::string(pdu)};
    if (isarrivaltold(modem)) announce(modem, "+CMTI: \"SM\"," + std::to_string(place));
    return place;
}

}  // namespace simulator
