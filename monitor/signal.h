// SPDX-License-Identifier: ISC
// Registration, operator, radio technology and signal: the replies to AT+COPS? and AT+CPSI?,
// published in info.network. All on the thread that owns the copy.
#pragma once

#include <string_view>

#include "core/record/status.h"

// What a reply does not tell has the values shown here; clients see them as the defaults.
struct modem_signal {
    float rssi = -110.0F;  // dBm
    float rscp = -124.0F;  // dBm, WCDMA
    float ecio = -20.0F;   // dB, WCDMA
    float rsrp = -100.0F;  // dBm, LTE
    float rsrq = -20.0F;   // dB, LTE
    float sinr = 0.0F;     // dB, LTE
};

// Publishes the six values with two decimals; the level is left alone.
void modem_writesignal(modem_status &status, const modem_signal &signal);

// Whether the reply to AT+COPS? names an operator.
bool modem_isregistered(std::string_view reply);

// The quoted operator name; to the end of its line when the closing quote is missing. Without any
// quote the provider stays.
void modem_parseprovider(modem_status &status, std::string_view reply);

// 1: type, six values and level are written; 0: an unknown technology, only its raw word stands in
// info.network.type.
int modem_parsesysinfo(modem_status &status, std::string_view reply);

// The level words, by how many steps of the signal bar they light.
inline constexpr std::string_view modem_levelwords[] = {"no signal", "weak", "medium", "good",
                                                        "excellent"};

// How many steps of the signal bar a level word lights: "no signal" 0 to "excellent" 4, as any
// other word.
unsigned modem_levelindex(const char *level);
