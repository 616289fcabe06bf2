// SPDX-License-Identifier: ISC
// Assembly slots of long messages.
#include "sms/parts.h"

#include "core/record/text.h"
#include "core/record/trace.h"

int modem_isfindsms(modem_state *pmod, const std::uint8_t (&randref)[2], longsms_entry **entry)
{
    if (entry == nullptr) {
        modem_trace("modem_isfindsms: pplongsms is null\n");
        return -1;
    }
    *entry = &pmod->longsms_table[0];
    for (longsms_entry &candidate : pmod->longsms_table) {
        const std::uint8_t(&held)[2] = candidate.randref;
        const bool matches = held[0] == randref[0] && held[1] == randref[1];
        if (matches || (held[0] == 0 && held[1] == 0)) *entry = &candidate;
        if (matches) return 1;
    }
    return 0;
}

unsigned modem_joinparts(longsms_entry &entry, unsigned countparts, modem_smstext &text)
{
    unsigned length = 0;
    text[0] = '\0';
    for (unsigned i = 0; i < countparts && i < modem_smspartsmax; i++) {
        for (const char *part = entry.parts[i]; *part != '\0'; part++)
            text[length++] = *part;
    }
    text[length] = '\0';
    entry.recvparts = 0;
    entry.randref[0] = 0;
    entry.randref[1] = 0;
    entry.timestamp[0] = '\0';
    return length;
}
