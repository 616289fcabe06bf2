// SPDX-License-Identifier: ISC
// The bus object `kelvantorium` and its eight methods.
#pragma once

struct ubus_context;

// Registers the object; it stays until the connection is released. Result of the bus library.
int modem_addobject(ubus_context *ctx);
