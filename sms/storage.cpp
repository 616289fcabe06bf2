// SPDX-License-Identifier: ISC
// Replies about the storage of messages.
#include "sms/storage.h"

#include "core/record/cursor.h"

namespace
{

// A SIM card numbers its messages with one octet (TS 51.011, the record numbers of EF_SMS); what a
// reply tells beyond that is not read.
constexpr std::uint32_t capacitymax = 255;

}  // namespace

std::uint32_t modem_readcapacity(std::string_view reply)
{
    modem_cursor at = {reply};
    std::uint32_t capacity = 0;
    if (!modem_takeuntil(at, ',') || !modem_takeuntil(at, ',')) return 0;
    const std::optional<std::string_view> total = modem_takeuntil(at, ',');
    if (!total || !modem_readnumber(*total, capacity)) return 0;
    return capacity < capacitymax ? capacity : capacitymax;
}
