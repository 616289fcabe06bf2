// SPDX-License-Identifier: ISC
// The modem's storage of messages, as it tells of it. Pure; any thread.
#pragma once

#include <cstdint>
#include <string_view>

// How many places the first storage of a reply to AT+CPMS? has ("+CPMS: "SM",used,total,..."), at
// most 255; 0 when the reply does not tell.
std::uint32_t modem_readcapacity(std::string_view reply);
