// SPDX-License-Identifier: ISC
// The one way to record a change of the daemon's state.
#pragma once

#include <syslog.h>

#include "core/record/status.h"

struct modem_transition {
    const char *prevstate;  // may be the target's own state field
    const char *state = "error";
    const char *error = "no_answer";
    int priority = LOG_ERR;
    const char *detail = nullptr;  // system error text, for the log line only
};

// Writes prevstate, state, error and reason into `target`, in this order, and logs
// "prevstate->state: reason", control characters in the reason as '?'. A null target is a no-op.
// Runs on the thread that owns the target.
[[gnu::format(printf, 3, 4)]] void modem_settransition(modem_info *target,
                                                       const modem_transition &to,
                                                       const char *reason,
                                                       ...);
