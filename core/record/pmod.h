// SPDX-License-Identifier: ISC
// The process-wide pointer to the record, for those whose callers cannot pass it: the bus method
// handlers and the poll callback.
#pragma once

#include "core/record/state.h"

// Null before the allocation and after a failed start; stale after the end.
extern modem_state *pmod;
