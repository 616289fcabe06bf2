// SPDX-License-Identifier: ISC
// The received-message ring.
#include "sms/list.h"

#include <cerrno>
#include <cstring>
#include <iterator>
#include <syslog.h>

#include "core/record/paths.h"
#include "core/record/text.h"
#include "core/record/trace.h"
#include "sms/listfile.h"

namespace
{

// Which failures of a save are in the log already, by errno; a save that succeeds forgets them.
bool loggedfailures[256];

// Once per kind: a full flash would otherwise add a line for every message.
void modem_logfailure(int error)
{
    bool &islogged = loggedfailures[static_cast<unsigned>(error) % std::size(loggedfailures)];
    if (islogged) return;
    islogged = true;
    syslog(LOG_ERR, "modem_savelistsms: list not saved: %s", std::strerror(error));
}

}  // namespace

int modem_savelistsms(modem_state *pmod)
{
    if (modem_writelist(pmod->sms_list, modem_smsfilepath) == 0) {
        std::memset(loggedfailures, 0, sizeof(loggedfailures));
        return 0;
    }
    const int error = errno;
    modem_trace("modem_savelistsms: fopen() done error=%s\n", std::strerror(error));  // sic
    modem_logfailure(error);
    return -1;
}

int modem_loadlistsms(modem_state *pmod)
{
    modem_removeleftover(modem_smsfilepath);
    if (modem_readlist(pmod->sms_list, modem_smsfilepath) != 0) {
        modem_trace("modem_loadlistsms: fopen() done error=%s\n", std::strerror(errno));  // sic
        return -1;
    }
    for (std::int32_t k = 1; k <= pmod->sms_list.numsms; k++) {
        const sms_entry &entry = pmod->sms_list.entries[k - 1];
        modem_trace("modem_loadlistsms: numsms=%d\n", k);
        modem_trace("modem_loadlistsms: phone=%s\n", entry.phone);
        modem_trace("modem_loadlistsms: timestamp=%s\n", entry.timestamp);
        modem_trace("modem_loadlistsms: text=%s\n\n", entry.text);
    }
    return 0;
}

int modem_appendsms(modem_state *pmod,
                    const sms_sender &phone,
                    const char *timestamp,
                    const char *text)
{
    sms_list &list = pmod->sms_list;
    constexpr std::int32_t last = modem_smslistmax;
    const std::int32_t position = list.numsms < last ? list.numsms + 1 : 1;
    sms_entry &entry = list.entries[position - 1];
    std::memcpy(entry.phone, phone, sizeof(entry.phone));  // nothing of the former sender stays
    modem_copytext(entry.timestamp, timestamp);
    modem_copytext(entry.text, text);
    list.numsms = position;
    pmod->untoldsms++;
    (void)modem_savelistsms(pmod);  // told; the next save writes this message too
    return position;
}
