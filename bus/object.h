// SPDX-License-Identifier: ISC
// The bus object `kelvantorium`: its eight methods and its subscribers.
#pragma once

#include "core/record/state.h"

// Registers the object; it stays until the connection is released. Result of the bus library.
int modem_addobject(ubus_context *ctx);

// Before and after a pass of the poll: tells subscribers what it has changed. What methods change
// is told after their replies.
void modem_beginchanges(modem_state *record);
void modem_tellchanges(modem_state *record);
