// SPDX-License-Identifier: ISC
/*
 * Between the parts of the client library.
 */
#ifndef UBUS_INTERNAL_H
#define UBUS_INTERNAL_H

#include <libubus.h>

#include "message.h"

/* The one buffer in which outgoing messages are built. */
extern struct blob_buf ubus_out;

/* Starts a message in `ubus_out`. */
void ubus_begin(void);
/* Appends a DATA attribute with the payload of `msg`, empty for null; false when it is too long. */
bool ubus_put_data(const struct blob_attr *msg);
/* Sends what is in `ubus_out`, however long that blocks; false on a dead connection. */
bool ubus_send(struct ubus_context *ctx, int type, uint16_t seq, uint32_t peer);

/* Takes in at most one message; false when none is there, or none will come any more. */
bool ubus_receive(struct ubus_context *ctx);
/* Handles queued requests unless a handler or a call is active. */
void ubus_drain(struct ubus_context *ctx);
void ubus_report_loss(struct ubus_context *ctx);

/* Sends the message in `ubus_out` as a request and waits for its status; `req` has its callbacks
 * and `peer` set. */
int ubus_request(struct ubus_context *ctx, struct ubus_request *req, int type, int timeout);
/* Gives an incoming STATUS or DATA to the request that waits for it. */
void ubus_answer(struct ubus_context *ctx, struct ubus_msg *msg);
/* Runs the handler of an incoming INVOKE and answers, or tells of a subscription's change. */
void ubus_dispatch(struct ubus_context *ctx, struct ubus_msg *msg);

struct ubus_object *ubus_find_object(struct ubus_context *ctx, uint32_t id);
/* A target is gone: UNSUBSCRIBE of the broker to one of our subscribers. */
void ubus_target_gone(struct ubus_context *ctx, struct ubus_object *object, uint32_t target);

#endif
