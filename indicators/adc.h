// SPDX-License-Identifier: ISC
// The analogue input on which both card contacts hang. Pure; any thread.
#pragma once

#include <optional>
#include <string_view>

// The slot mask that a reply to AT+CADC=2 tells: 0 no card, 1 slot 1 only, 2 slot 2 only, 3 both.
// Null without a reading.
std::optional<unsigned> modem_readslots(std::string_view reply);
