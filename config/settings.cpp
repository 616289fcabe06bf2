// SPDX-License-Identifier: ISC
// Settings: the options table and the configuration library around it.
#include "config/settings.h"

#include <syslog.h>

#include <uci.h>

#include "core/record/state.h"
#include "core/record/text.h"
#include "monitor/defaults.h"

// FLAG(settings.modem.rs485.enabled): from a status block to a presence flag.
// NOLINTNEXTLINE(bugprone-macro-parentheses): a member path cannot stand in parentheses.
#define FLAG(path) [](modem_status &status) -> std::uint8_t * { return &status.path; }

// clang-format off
constexpr modem_option modem_options[modem_optioncount] = {
    // section, option, argument of `set`, default, words, field, presence flag
    {"modem", "slot", "modem_slot", "1", {"1", "2"}, FIELD(settings.modem.slot)},
    {"rs485", "pull", "modem_rs485_pull", "down", {"down", "up"}, FIELD(settings.modem.rs485.pull),
     FLAG(settings.modem.rs485.enabled)},
    {"gnss", "power", "modem_gnss_power", "off", {"off", "on"}, FIELD(settings.modem.gnss.power),
     FLAG(settings.modem.gnss.enabled)},
    {"gnss", "mode", "modem_gnss_mode", "3", {"1", "2", "3", "4"}, FIELD(settings.modem.gnss.mode),
     FLAG(settings.modem.gnss.enabled)},
    {"network", "type", "modem_network_type", "auto", {"auto", "2g", "3g", "4g"},
     FIELD(settings.modem.network.type)},
    {"network", "iptype", "modem_network_iptype", "ipv4", {"ipv4", "ipv6", "ipv4v6"},
     FIELD(settings.modem.network.iptype)},
    {"network", "iparea", "modem_network_iparea", "public", {"public", "private"},
     FIELD(settings.modem.network.iparea)},
    {"network", "apn", "modem_network_apn", "dynamic", {}, FIELD(settings.modem.network.apn),
     nullptr, "dynamic"},
};
// clang-format on

namespace
{

// Every default and every word fits its field.
constexpr bool modem_fitsfield(const modem_option &option)
{
    modem_status status = {};
    const unsigned capacity = option.field(status).capacity;
    if (std::string_view(option.fallback).size() >= capacity) return false;
    for (const char *word : option.words) {
        if (word != nullptr && std::string_view(word).size() >= capacity) return false;
    }
    return true;
}

constexpr bool modem_fitfields()
{
    for (const modem_option &option : modem_options) {
        if (!modem_fitsfield(option)) return false;
    }
    return true;
}

static_assert(modem_fitfields(), "every default and every word fits its field");

constexpr unsigned keymax = 64;  // "kelvantorium.network.iptype" and the like

// The library splits the key in place and keeps pointers into it: it outlives the lookup.
struct modem_optionkey {
    char text[keymax];
    uci_ptr at;
};

void modem_makekey(modem_optionkey &key, const modem_option &option)
{
    modem_settext(key.text, "kelvantorium.%s.%s", option.section, option.name);
}

// The option of the package in memory, or null. Lookups succeed for missing sections and options
// too, hence the looks at the flag and the pointer.
uci_option *modem_findoption(uci_context *context, modem_optionkey &key)
{
    if (uci_lookup_ptr(context, &key.at, key.text, true) != UCI_OK) return nullptr;
    if ((key.at.flags & uci_ptr::UCI_LOOKUP_COMPLETE) == 0) return nullptr;
    return key.at.o;
}

// Takes one option over. True when the package was repaired.
bool modem_readoption(uci_context *context,
                      const modem_option &option,
                      modem_status &status,
                      uci_package *&package)
{
    modem_optionkey key = {};
    modem_makekey(key, option);
    const uci_option *found = modem_findoption(context, key);
    if (key.at.p != nullptr) package = key.at.p;
    if (found == nullptr) return false;
    if (option.flag != nullptr) *option.flag(status) = 1;
    if (found->type != UCI_TYPE_STRING) return false;  // a list: default, left as it is
    if (modem_isaccepted(option, found->v.string)) {
        modem_copytext(option.field(status), found->v.string);
        return false;
    }
    key.at.value = option.field(status).text;
    (void)uci_set(context, &key.at);
    return true;
}

void modem_setdefaultsettings(modem_status &status)
{
    status.settings = {};
    for (const modem_option &option : modem_options)
        modem_copytext(option.field(status), option.fallback);
}

}  // namespace

bool modem_isaccepted(const modem_option &option, std::string_view text)
{
    if (option.words[0] == nullptr) return modem_isquotable(text);
    for (const char *word : option.words) {
        if (word != nullptr && text == word) return true;
    }
    return false;
}

int modem_read_settings(modem_state *pmod)
{
    modem_status &status = pmod->working;
    modem_setdefaultsettings(status);
    (void)modem_setstatusdefaults(status);
    uci_context *context = uci_alloc_context();
    if (context == nullptr) {
        syslog(LOG_ERR, "modem_read_settings: uci_alloc_context() done error");
        return -1;
    }
    bool changed = false;
    uci_package *package = nullptr;
    for (const modem_option &option : modem_options) {
        if (modem_readoption(context, option, status, package)) changed = true;
    }
    if (changed) (void)uci_commit(context, &package, false);
    uci_free_context(context);
    return 0;
}

bool modem_istracewanted()
{
    uci_context *context = uci_alloc_context();
    if (context == nullptr) return true;
    modem_optionkey key = {};
    modem_settext(key.text, "kelvantorium.service.trace");
    const uci_option *found = modem_findoption(context, key);
    const bool unwanted =
        found != nullptr && found->type == UCI_TYPE_STRING && modem_isword(found->v.string, "0");
    uci_free_context(context);
    return !unwanted;
}

bool modem_setoption(uci_context *context, const modem_option &option, const char *text)
{
    modem_optionkey key = {};
    modem_makekey(key, option);
    if (uci_parse_ptr(context, &key.at, key.text) != UCI_OK) return false;
    key.at.value = text;
    return uci_set(context, &key.at) == UCI_OK;
}

void modem_commitoptions(uci_context *context)
{
    modem_optionkey key = {};
    modem_makekey(key, modem_options[0]);
    if (uci_lookup_ptr(context, &key.at, key.text, true) != UCI_OK || key.at.p == nullptr) return;
    (void)uci_commit(context, &key.at.p, false);
}
