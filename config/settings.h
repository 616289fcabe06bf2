// SPDX-License-Identifier: ISC
// The settings store: reading, repair and writing of the configuration package's options
// (config/options.h).
#pragma once

#include <string_view>

struct modem_option;
struct modem_state;
struct uci_context;

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

// Sets one option of the package in memory. False when the library refuses, for want of the section
// for instance; then the package stays as it is.
bool modem_setoption(uci_context *context, const modem_option &option, const char *text);
// Writes the package to its file, other people's uncommitted changes included. A failure shows when
// the settings are read again.
void modem_commitoptions(uci_context *context);
