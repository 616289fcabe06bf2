// SPDX-License-Identifier: ISC
// Settings through the configuration library.
#include "config/settings.h"

#include <syslog.h>

#include <uci.h>

#include "config/options.h"
#include "core/record/state.h"
#include "core/record/text.h"
#include "monitor/defaults.h"

namespace
{

// Every default and every word fits its field.
constexpr bool modem_fitsfield(const modem_option &option)
{
    modem_settings settings = {};
    const unsigned capacity = option.field(settings).capacity;
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
                      modem_settings &settings,
                      uci_package *&package)
{
    modem_optionkey key = {};
    modem_makekey(key, option);
    const uci_option *found = modem_findoption(context, key);
    if (key.at.p != nullptr) package = key.at.p;
    if (found == nullptr) return false;
    if (option.flag != nullptr) *option.flag(settings) = 1;
    if (found->type != UCI_TYPE_STRING) return false;  // a list: default, left as it is
    if (modem_isaccepted(option, found->v.string)) {
        modem_copytext(option.field(settings), found->v.string);
        return false;
    }
    key.at.value = option.field(settings).text;
    (void)uci_set(context, &key.at);
    return true;
}

void modem_setdefaultsettings(modem_settings &settings)
{
    settings = {};
    for (const modem_option &option : modem_options)
        modem_copytext(option.field(settings), option.fallback);
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
    modem_setdefaultsettings(status.settings);
    (void)modem_setstatusdefaults(status);
    uci_context *context = uci_alloc_context();
    if (context == nullptr) {
        syslog(LOG_ERR, "modem_read_settings: uci_alloc_context() done error");
        return -1;
    }
    bool changed = false;
    uci_package *package = nullptr;
    for (const modem_option &option : modem_options) {
        if (modem_readoption(context, option, status.settings, package)) changed = true;
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
