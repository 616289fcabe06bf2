// SPDX-License-Identifier: ISC
// The status report, and the method `get` that replies the whole of it. Event loop; never touches
// the modem.
#pragma once

#include "bus/request.h"
#include "core/record/status.h"

modem_handler modem_get;

// Appends to the message under way the leaves of the report, nested and in its order: those that
// differ from the `known` status, or all when it is null. Their number.
unsigned modem_addreport(const modem_status &status, const modem_status *known);
