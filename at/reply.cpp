// SPDX-License-Identifier: ISC
// Classification of replies: final results as a table, first match wins.
#include "at/reply.h"

#include "core/record/cursor.h"

namespace
{

struct modem_finalerror {
    std::string_view text;
    std::string_view end;  // what must follow before the reply is complete; empty: nothing
};

constexpr modem_finalerror finalerrors[] = {
    {"ERROR\r\n", ""},
    {"+CME ERROR:", "\r\n"},
    {"+CMS ERROR:", "\r\n"},
};

}  // namespace

modem_verdict modem_classify(std::string_view reply, std::string_view answer)
{
    if (modem_findnocase(reply, answer) != std::string_view::npos) return modem_verdict::expected;
    for (const modem_finalerror &error : finalerrors) {
        modem_cursor at = {reply};
        if (!modem_skippastnocase(at, error.text)) continue;
        return modem_skippast(at, error.end) ? modem_verdict::error : modem_verdict::unfinished;
    }
    return modem_verdict::nothing;
}
