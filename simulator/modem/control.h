// SPDX-License-Identifier: ISC
// The bus object "simulator": a person or a test steers the modem with it and sees what it was
// told.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <libubus.h>

#include "simulator/modem/device.h"

namespace simulator
{

// The arguments of one request; an absent one, or one of the wrong type, is null.
struct arguments {
    blob_attr *message;

    std::optional<std::string> text(const char *name) const;
    std::optional<std::int64_t> number(const char *name) const;  // any integer, or a truth value
};

struct method {
    const char *name;
    // Gives a status of the bus; the reply is sent when it is UBUS_STATUS_OK.
    int (*run)(device &modem, const arguments &given, blob_buf &reply);
    std::span<const blobmsg_policy> parameters = {};
};

std::span<const method> conditionmethods();  // card, network, receiver, faults
std::span<const method> messagemethods();    // SMS and USSD
std::span<const method> reportmethods();     // what the modem holds and was told

// Registers the object, on one connection at a time. The device stays until the end of the loop.
bool offercontrol(ubus_context &bus, device &modem);

template <typename Target, typename Value>
void assign(Target &target, const std::optional<Value> &value)
{
    if (value) target = static_cast<Target>(*value);
}

}  // namespace simulator
