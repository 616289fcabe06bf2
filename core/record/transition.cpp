// SPDX-License-Identifier: ISC
// State transitions: four words into one copy of the status, and the log line made of them.
#include "core/record/transition.h"

#include <cstdarg>

#include "core/record/text.h"

void modem_settransition(modem_info *target, const modem_transition &to, const char *reason, ...)
{
    if (target == nullptr) return;
    char text[512];
    va_list arguments;
    va_start(arguments, reason);
    (void)std::vsnprintf(text, sizeof(text), reason, arguments);
    va_end(arguments);
    modem_maskcontrols(text);
    auto &words = target->kelvantorium;
    modem_copytext(words.prevstate, to.prevstate);
    modem_copytext(words.state, to.state);
    modem_copytext(words.error, to.error);
    modem_copytext(words.reason, text);
    const bool detailed = to.detail != nullptr;
    syslog(to.priority, "%s->%s: %s%s%s", words.prevstate, words.state, text, detailed ? ": " : "",
           detailed ? to.detail : "");
}
