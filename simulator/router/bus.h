// SPDX-License-Identifier: ISC
// A small client of the system bus, for the router program and the tests.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

struct blob_attr;
struct ubus_context;

// Every field of a reply in the order of arrival: its path ("info.network.rssi"; elements of arrays
// by number, "commands.0.text") and its value as text.
struct bus_reply {
    int status = -1;  // of the call itself; 0: answered
    std::vector<std::pair<std::string, std::string>> fields;

    bool ok() const
    {
        return status == 0;
    }
    bool has(const std::string &path) const;
    // Empty when there is no such field.
    std::string operator[](const std::string &path) const;
};

// The fields of any message.
bus_reply bus_read(blob_attr *message);

using bus_value = std::variant<std::string, std::int32_t, bool, double>;
using bus_arguments = std::vector<std::pair<std::string, bus_value>>;

class bus_client
{
public:
    // Connects, if the broker lets it.
    bus_client();

    bool connected() const;
    bool has(const std::string &object);
    // Status 4 without such an object, 7 after `limit` milliseconds.
    bus_reply call(const std::string &object,
                   const std::string &method,
                   const bus_arguments &arguments = {},
                   int limit = 60000);

private:
    std::unique_ptr<ubus_context, void (*)(ubus_context *)> context;
};
