// SPDX-License-Identifier: ISC
// The ring of received messages, kept in a file over restarts.
//
// Event loop. A save blocks until the file has reached the flash.
#pragma once

#include "core/record/state.h"

// The sender as it stands in an entry.
using sms_sender = decltype(sms_entry::phone);

// Stores a message at the next ring position, which wraps to 1, makes it the most recent one and
// saves. The position; a failed save loses nothing while the daemon runs.
int modem_appendsms(modem_state *pmod,
                    const sms_sender &phone,
                    const char *timestamp,
                    const char *text);

// Saves the list (sms/listfile.h). 0, or -1 with the cause traced, and logged the first time since
// the last success.
int modem_savelistsms(modem_state *pmod);

// Loads the list at start-up, after removing what a save that was cut off has left. 0, or -1 with
// the cause traced when there is no file to read.
int modem_loadlistsms(modem_state *pmod);
