// SPDX-License-Identifier: ISC
// A port of the machine outside the sandbox, opened before it is entered.
#pragma once

#include <string>

// Listens at ADDRESS:PORT, an IPv4 address and a number; port 0 takes a free one. Prints the page's
// address. The socket, close-on-exec, or -1 with a complaint on standard error.
int listen_at(const std::string &place);
