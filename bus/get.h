// SPDX-License-Identifier: ISC
// The method `get`: the whole published status as one table. Event loop; never touches the modem.
#pragma once

#include "bus/request.h"

modem_handler modem_get;
