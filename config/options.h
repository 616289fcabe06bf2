// SPDX-License-Identifier: ISC
// The options of the configuration package as one table: for reading, repair, validation of what
// clients set, and writing.
#pragma once

#include <cstdint>
#include <iterator>

#include "core/record/status.h"

constexpr unsigned modem_optionwordsmax = 4;

struct modem_option {
    const char *section;
    const char *name;
    const char *argument;                     // of the method `set`
    const char *fallback;                     // the default word
    const char *words[modem_optionwordsmax];  // accepted texts; none: what can be quoted
    modem_field (*field)(modem_settings &);
    // Presence flag that the option raises and that gates its writing; null: none.
    std::uint8_t *(*flag)(modem_settings &) = nullptr;
    const char *whenempty = nullptr;  // what `set` takes an empty text for; null: refused
};

// From a settings block to one of its texts, and to a presence flag.
#define SETTING(path) [](modem_settings &settings) -> modem_field { return settings.path; }
// NOLINTNEXTLINE(bugprone-macro-parentheses): a member path cannot stand in parentheses.
#define FLAG(path) [](modem_settings &settings) -> std::uint8_t * { return &settings.path; }

// In the order in which everybody goes through them.
// clang-format off
inline constexpr modem_option modem_options[] = {
    // section, option, argument of `set`, default, words, field, presence flag
    {"modem", "slot", "modem_slot", "1", {"1", "2"}, SETTING(modem.slot)},
    {"rs485", "pull", "modem_rs485_pull", "down", {"down", "up"}, SETTING(modem.rs485.pull),
     FLAG(modem.rs485.enabled)},
    {"gnss", "power", "modem_gnss_power", "off", {"off", "on"}, SETTING(modem.gnss.power),
     FLAG(modem.gnss.enabled)},
    {"gnss", "mode", "modem_gnss_mode", "3", {"1", "2", "3", "4"}, SETTING(modem.gnss.mode),
     FLAG(modem.gnss.enabled)},
    {"network", "type", "modem_network_type", "auto", {"auto", "2g", "3g", "4g"},
     SETTING(modem.network.type)},
    {"network", "iptype", "modem_network_iptype", "ipv4", {"ipv4", "ipv6", "ipv4v6"},
     SETTING(modem.network.iptype)},
    {"network", "iparea", "modem_network_iparea", "public", {"public", "private"},
     SETTING(modem.network.iparea)},
    {"network", "apn", "modem_network_apn", "dynamic", {}, SETTING(modem.network.apn),
     nullptr, "dynamic"},
};
// clang-format on

#undef SETTING
#undef FLAG

constexpr unsigned modem_optioncount = std::size(modem_options);
