// SPDX-License-Identifier: ISC
// What the router finds at the modem's network interface, told by the modem in a file of one line:
// the address that DHCP gives there. Empty: no data connection. No file: no modem.
#pragma once

inline constexpr char cable_path[] = "/run/modem.cable";
