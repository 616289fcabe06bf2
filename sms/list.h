// SPDX-License-Identifier: ISC
// The ring of received messages and the file that keeps it over restarts.
//
// Event loop. A save blocks until the file has reached the flash.
#pragma once

#include "core/record/state.h"

// Stores a message at the next ring position, which wraps to 1, makes it the most recent one and
// saves. The position; a failed save is only traced.
int modem_appendsms(modem_state *pmod, const char *phone, const char *timestamp, const char *text);

// Saves the list: at any moment, also when power fails, the file holds either the former list or
// this one. 0, or -1 with the cause traced and the former file in place.
int modem_savelistsms(modem_state *pmod);

// Loads the list at start-up. A count that no ring has makes it empty; texts are terminated. 0, or
// -1 with the cause traced when there is no file to read.
int modem_loadlistsms(modem_state *pmod);

// The same for any file: the octets alone, the cause in errno.
int modem_writelist(const sms_list &list, const char *path);
int modem_readlist(sms_list &list, const char *path);
