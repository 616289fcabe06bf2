// SPDX-License-Identifier: ISC
// The default gateway of an interface, from the kernel's route table. Event loop; never blocks.
#pragma once

#include <cstdint>
#include <string_view>

// Whether `line` of the route table is a default route via `interface`; if so, `gateway` gets its
// gateway in network byte order. The heading line is none.
bool modem_isdefaultroute(std::string_view line, const char *interface, std::uint32_t &gateway);

// Reads the table open at `fd` up to the first such line. Lines longer than 1024 octets are cut.
// 0, or -1 when there is none.
int modem_findgateway(int fd, const char *interface, std::uint32_t &gateway);

// The same for the kernel's own table. -1 also when the table cannot be opened or there is no place
// for the address.
int modem_getgateway(const char *interface, std::uint32_t *gateway);
