// SPDX-License-Identifier: ISC
// The GNSS receiver's report: the reply to AT+CGNSSINFO, published in info.gnss.
#pragma once

#include <string_view>

#include "core/record/status.h"

// 1: a fix, with two or more satellites in use, its fields are written; 0: none, the GNSS defaults
// are written. Missing fields keep their start values, long ones are cut. On the thread that owns
// the copy.
int modem_parsegnssinfo(modem_status &status, std::string_view reply);
