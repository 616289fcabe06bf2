// SPDX-License-Identifier: ISC
// Address, state and routes of the router's interfaces.
#pragma once

bool link_exists(const char *interface);
// Of an interface that is down.
bool link_rename(const char *interface, const char *name);

// Brings the interface up with an IPv4 address of a /24 network. False: see errno.
bool link_setaddress(const char *interface, const char *address);

bool link_up(const char *interface);

// Takes the interface down; its address and routes go with that.
bool link_down(const char *interface);

// Adds a default route.
bool link_addroute(const char *interface, const char *gateway);
