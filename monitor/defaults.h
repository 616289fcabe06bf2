// SPDX-License-Identifier: ISC
// The default words: what clients see of a group of values that is not known, or no longer.
//
// Each writes into the copy it is given, on the thread that owns that copy, and returns 0.
#pragma once

#include "core/record/status.h"

int modem_setgnssdefaults(modem_status &status);
int modem_setnetworkdefaults(modem_status &status);
// All groups; the settings, the daemon's own state words and the SMS counter stay.
int modem_setstatusdefaults(modem_status &status);
