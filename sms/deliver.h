// SPDX-License-Identifier: ISC
// Decoding of received messages: from the modem's reply to the values of one SMS-DELIVER.
//
// Pure but for trace lines; any thread. Nothing is read beyond the octets given.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "core/record/limits.h"

struct modem_deliver {
    char sender[16];
    char timestamp[20];   // dd-mm-20yy hh:mm:ss
    modem_parttext text;  // CP1251
    unsigned length;      // characters decoded into `text`, a NUL among them included

    // Long messages only: whoever announces a single part, or none, is complete.
    bool islong;
    std::uint8_t randref[2];  // an 8-bit reference as (reference, 0)
    unsigned countparts;      // 2 to 6
    unsigned part;            // 1 to 6
};

// The hexadecimal text of the PDU in a reply to AT+CMGR; null when there is a header line and
// nothing behind it. False when the reply has no message.
bool modem_findpdu(std::string_view reply, std::optional<std::string_view> &hex);

// Decodes the octets of a PDU, `hex` being the same PDU as text. False when the message does not
// fit the profile and is to be dropped; the cause is traced.
bool modem_decodedeliver(std::string_view hex,
                         std::span<const std::uint8_t> octets,
                         modem_deliver &message);
