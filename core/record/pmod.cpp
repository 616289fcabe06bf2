// SPDX-License-Identifier: ISC
// The one global of the record.
#include "core/record/pmod.h"

modem_state *pmod;
