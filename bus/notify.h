// SPDX-License-Identifier: ISC
// What subscribers of the object are told: "status", the leaves of the report that have changed,
// and "sms", the id of each message stored. Event loop; nobody's answer is waited for.
#pragma once

#include "core/record/state.h"

struct ubus_object;

// Tells what is new since subscribers were told last. Without subscribers it does nothing.
void modem_notifychanges(modem_state *pmod, ubus_object *object);

// When the first subscriber has come: tells the whole report, from which changes count. The bus
// library does not tell of further ones.
void modem_notifyall(modem_state *pmod, ubus_object *object);

// Before a pass: without subscribers nobody will be told of the messages stored so far. Those of
// the pass itself wait for a subscriber who comes while it lasts, and is known only after it.
void modem_forgetuntold(modem_state *pmod, const ubus_object *object);
