// SPDX-License-Identifier: ISC
// The exchange on which script rows, indicators and slot detection stand.
#pragma once

#include "core/record/state.h"

// Sends `command`, expects OK within 15 s, and on any other result records in `target` (null:
// nowhere) the transition from `prevstate` to "error", "no_answer" with the reason
// "purpose: shown: didn't get answer OK"; `shown` null is the command itself. `prevstate` may be
// the target's own state word. Result as modem_sendat. Thread: the target's owner.
int modem_ask(modem_state *pmod,
              modem_info *target,
              const char *prevstate,
              const char *command,
              const char *purpose,
              const char *shown = nullptr);
