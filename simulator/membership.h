// SPDX-License-Identifier: ISC
// A simulator's place on the bus, which outlives the broker.
#pragma once

struct ubus_context;

// Connects and offers: `offer` registers the objects, anew for each connection. False when there is
// no broker or it refuses. When the broker goes, the process goes on, and joins the next one. In
// the event loop's thread.
bool join_bus(bool (*offer)(ubus_context &bus));
void leave_bus();
