// SPDX-License-Identifier: ISC
// Replies of the initialisation.
#include "config/replies.h"

#include "core/record/cursor.h"

std::string_view modem_readword(std::string_view reply, const char *marker)
{
    modem_cursor at = {reply};
    if (marker != nullptr) {
        while (!at.rest.empty() && (at.rest.front() == '\r' || at.rest.front() == '\n'))
            at.rest.remove_prefix(1);
        if (at.rest.find(marker) != 0 || !modem_skippast(at, marker)) return {};
    }
    return modem_takeword(at);
}

std::string_view modem_readsimlock(std::string_view reply)
{
    modem_cursor at = {reply};
    if (!modem_skippast(at, "+CPIN: ")) return {};
    return modem_takeuntil(at, '\r').value_or("");
}
