// SPDX-License-Identifier: ISC
// Talking to the modem's AT port.
#pragma once

#include <string>
#include <string_view>

#include "simulator/modem/model.h"

// Everything that the AT port says to `input` by `now`.
inline std::string say(simulator::modem_model &modem,
                       std::string_view input,
                       simulator::milliseconds now = 0)
{
    simulator::feed(modem, simulator::at_port, input, now);
    return simulator::take(modem, simulator::at_port, now);
}

inline simulator::modem_model quiet()
{
    simulator::modem_model modem;
    (void)say(modem, "ATE0\rAT+CMEE=2\r");
    return modem;
}
