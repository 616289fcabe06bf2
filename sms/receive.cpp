// SPDX-License-Identifier: ISC
// Reading, assembling and storing received messages.
#include "sms/receive.h"

#include <iterator>
#include <syslog.h>

#include "at/sendat.h"
#include "core/record/text.h"
#include "core/record/trace.h"
#include "sms/deliver.h"
#include "sms/list.h"
#include "sms/parts.h"
#include "sms/text.h"

namespace
{

constexpr std::int32_t bareanswer = 7;  // characters of a reply that holds nothing but OK

// What is stored: one message, or the join of its parts.
struct modem_message {
    char text[sizeof(sms_entry::text)];
    unsigned length;
};

void modem_keeppart(longsms_entry &entry, const modem_deliver &part)
{
    modem_copytext(entry.timestamp, part.timestamp);
    modem_copytext(entry.parts[part.part - 1], part.text);
    modem_trace("modem_readsms: output_sms_text[%u]=%s\n", part.part, part.text);
}

// True when this part completes its message.
bool modem_takepart(modem_state *pmod, const modem_deliver &part, modem_message &message)
{
    longsms_entry *entry = nullptr;
    if (modem_isfindsms(pmod, part.randref, &entry) == 0) {
        modem_trace("modem_readsms: not find randref\n");
        entry->recvparts = 1;
        entry->randref[0] = part.randref[0];
        entry->randref[1] = part.randref[1];
        modem_keeppart(*entry, part);
        return false;
    }
    modem_keeppart(*entry, part);
    entry->recvparts++;
    modem_trace("modem_readsms: find randref: recvparts=%u, countparts=%u\n", entry->recvparts,
                part.countparts);
    if (part.countparts > entry->recvparts) return false;
    message.length = modem_joinparts(*entry, part.countparts, message.text);
    return true;
}

void modem_takein(modem_state *pmod, const modem_deliver &part)
{
    modem_message message = {};
    modem_copytext(message.text, part.text);
    message.length = part.length;
    if (part.islong && !modem_takepart(pmod, part, message)) return;
    const int position = modem_appendsms(pmod, part.sender, part.timestamp, message.text);
    modem_trace("modem_readsms: output_sms_text_length=%u message[%d]=%s\n", message.length + 1,
                position, message.text);
}

// Storage indexes whose message could not be deleted, as the log tells already.
bool loggedindexes[256];

// What is not deleted is read and stored again in every pass: once per index is enough.
void modem_notedeletion(int index, int result)
{
    bool &islogged = loggedindexes[static_cast<unsigned>(index) % std::size(loggedindexes)];
    if (result == modematError && !islogged)
        syslog(LOG_ERR, "modem_delsms: index %d: not deleted, will be read again", index);
    if (!modem_issilent(result)) islogged = result == modematError;
}

}  // namespace

int modem_readsms(modem_state *pmod, int index, unsigned timeout)
{
    char command[modem_commandmax];
    modem_settext(command, "AT+CMGR=%d", index);
    const int result = modem_sendat(pmod, command, modem_atok, timeout, 1);
    if (result != modematOk) return result;
    if (pmod->atanswerlen <= bareanswer) return modematError;
    std::optional<std::string_view> hex;
    if (!modem_findpdu(modem_getreply(pmod), hex)) return modematError;
    if (!hex) return modematOk;
    modem_trace("modem_readsms: nbytes=%zu\n", hex->size());
    const std::size_t count = modem_hextobin(*hex, pmod->pdu_octets);
    modem_deliver part;
    if (modem_decodedeliver(*hex, {pmod->pdu_octets, count}, part)) modem_takein(pmod, part);
    return modematOk;
}

int modem_delsms(modem_state *pmod, int index, unsigned timeout)
{
    char command[modem_commandmax];
    modem_settext(command, "AT+CMGD=%d", index);
    const int result = modem_sendat(pmod, command, modem_atok, timeout, 1);
    modem_notedeletion(index, result);
    return result;
}
