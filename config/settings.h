// SPDX-License-Identifier: ISC
// The settings store: one table of the configuration package's options, for reading, repair,
// validation of what clients set, and writing.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "core/record/status.h"

struct modem_state;
struct uci_context;

constexpr unsigned modem_optionwordsmax = 4;

struct modem_option {
    const char *section;
    const char *name;
    const char *argument;                     // of the method `set`
    const char *fallback;                     // the default word
    const char *words[modem_optionwordsmax];  // accepted texts; none: what can be quoted
    modem_field (*field)(modem_status &);
    // Presence flag that the option raises and that gates its writing; null: none.
    std::uint8_t *(*flag)(modem_status &) = nullptr;
    const char *whenempty = nullptr;  // what `set` takes an empty text for; null: refused
};

// In the order in which everybody goes through them.
constexpr unsigned modem_optioncount = 8;
extern const modem_option modem_options[modem_optioncount];

// Whether the option takes this text: one of its words or, where it has none, any text that can
// stand in a quoted AT argument.
bool modem_isaccepted(const modem_option &option, std::string_view text);

// Loads the package into the working copy: defaults for settings and info fields first, then what
// the package holds; texts outside their words are put back to the default, in the package too.
// 0, also without a package; -1 without a configuration context. Owner of the working copy.
int modem_read_settings(modem_state *pmod);

// Whether the traces are to be on from the start: not where the package holds "0" in
// kelvantorium.service.trace. Reads only; the section is the service script's. Any thread.
bool modem_istracewanted();

// Sets one option in memory; failures leave the package as it is. True when it was set.
bool modem_setoption(uci_context *context, const modem_option &option, const char *text);
// Writes the package to its file. The results of both are of no concern to callers.
void modem_commitoptions(uci_context *context);
