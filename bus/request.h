// SPDX-License-Identifier: ISC
// What every method handler does with its request: arguments, refusals, the reply. Event loop.
#pragma once

#include <cstddef>
#include <span>

#include <libubus.h>

#include "core/record/text.h"

// One call as its handler sees it.
struct modem_request {
    ubus_context *ctx;
    ubus_request_data *req;
};

// Every method handler of the object, as the bus library calls it.
using modem_handler = int(ubus_context *ctx,
                          ubus_object *obj,
                          ubus_request_data *req,
                          const char *method,
                          blob_attr *msg);

// Octets of the largest reply or notification, with room to spare over the status tree.
constexpr unsigned modem_replymax = 8192;

// Sizes the one message buffer of the process for that, so that no handler allocates. Once, at
// start-up. 0 or -1.
int modem_preparereply();

// A reply is begun, filled and sent once; `result` comes first. Sending always gives 0, which is
// the handler's result: success and failure are told by `result` alone.
void modem_beginreply();
void modem_addreply(const char *name, const char *text);
void *modem_opentable(const char *name);
void modem_closetable(void *table);
int modem_sendreply(const modem_request &request);
// Sends the message to the object's subscribers instead.
void modem_sendnotification(ubus_context *ctx, ubus_object *object, const char *type);

// The whole reply is one `result`, at most 255 characters.
[[gnu::format(printf, 2, 3)]] int modem_replyresult(const modem_request &request,
                                                    const char *format,
                                                    ...);

// Refusals: each replies its text and gives true when the request is refused.

// Splits the message into one slot per policy entry, null for an argument that is absent or of
// another type. "error: msg is nil", "error: msg is damaged" when a field is malformed or cut off,
// or "error: msg has no <name>" for the first missing one of the `required` first arguments.
bool modem_refusemissing(const modem_request &request,
                         std::span<const blobmsg_policy> policy,
                         std::size_t required,
                         blob_attr **arguments,
                         blob_attr *msg);

// The same with every argument required.
template <std::size_t N>
bool modem_refusemissing(const modem_request &request,
                         const blobmsg_policy (&policy)[N],
                         blob_attr *(&arguments)[N],
                         blob_attr *msg)
{
    return modem_refusemissing(request, policy, N, arguments, msg);
}

// The caller's name as log lines and reasons show it.
using modem_clientname = char[16];

// The published state is "init".
bool modem_refuseinit(const modem_request &request);
// The published state is not "op", or the network is "disconnected".
bool modem_refuseoffline(const modem_request &request);
// Copies the argument's text into `field`, cut to its capacity; refuses an empty text.
bool modem_refuseempty(const modem_request &request,
                       const char *name,
                       const blob_attr *argument,
                       modem_field field);
// The same for the argument `client`; control characters of the name become '?'.
bool modem_refuseclient(const modem_request &request,
                        const blob_attr *argument,
                        modem_clientname &client);
