// SPDX-License-Identifier: ISC
/*
 * Bus client: requests and their answers.
 */
#include <poll.h>
#include <time.h>

#include "internal.h"

static int64_t now_ms(void)
{
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (int64_t)ts.tv_sec * 1000 + ts.tv_nsec / 1000000;
}

static void set_status(struct ubus_request *req, int status)
{
    req->status_code = status;
    req->status_msg = true;
}

static void await(struct ubus_context *ctx, struct ubus_request *req, int timeout)
{
    const int64_t deadline = now_ms() + timeout;
    while (!req->status_msg) {
        if (ctx->sock.eof) {
            set_status(req, UBUS_STATUS_CONNECTION_FAILED);
            return;
        }
        const int64_t left = timeout != 0 ? deadline - now_ms() : -1;
        if (timeout != 0 && left <= 0) {
            set_status(req, UBUS_STATUS_TIMEOUT);
            return;
        }
        if (ubus_wait_fd(ctx->sock.fd, POLLIN, (int)left)) ubus_receive(ctx);
    }
}

int ubus_request(struct ubus_context *ctx, struct ubus_request *req, int type, int timeout)
{
    if (ctx->sock.eof || blob_pad_len(ubus_out.head) > UBUS_MAX_MSGLEN)
        return UBUS_STATUS_INVALID_ARGUMENT;
    req->ctx = ctx;
    req->seq = ++ctx->request_seq;
    list_add_tail(&req->list, &ctx->requests);
    ctx->stack_depth++;
    if (ubus_send(ctx, type, req->seq, req->peer))
        await(ctx, req, timeout);
    else
        set_status(req, UBUS_STATUS_INVALID_ARGUMENT);
    ctx->stack_depth--;
    list_del(&req->list);
    if (ctx->stack_depth == 0 && !list_empty(&ctx->pending))
        uloop_timeout_set(&ctx->pending_timer, 1);
    ubus_report_loss(ctx);
    return req->status_code;
}

void ubus_answer(struct ubus_context *ctx, struct ubus_msg *msg)
{
    const bool status = msg->hdr.type == UBUS_MSG_STATUS;
    if (!status && msg->hdr.type != UBUS_MSG_DATA) return;
    struct blob_attr *attrs[UBUS_ATTR_MAX];
    ubus_msg_parse(msg, attrs);
    struct ubus_request *req;
    list_for_each_entry(req, &ctx->requests, list)
    {
        if (req->seq != be16toh(msg->hdr.seq) || req->peer != be32toh(msg->hdr.peer)) continue;
        if (status)
            set_status(req, attrs[UBUS_ATTR_STATUS] != NULL
                                ? blob_get_int32(attrs[UBUS_ATTR_STATUS])
                                : UBUS_STATUS_INVALID_ARGUMENT);
        else if (req->raw_data_cb != NULL)
            req->raw_data_cb(req, attrs);
        else if (req->data_cb != NULL && attrs[UBUS_ATTR_DATA] != NULL)
            req->data_cb(req, UBUS_MSG_DATA, attrs[UBUS_ATTR_DATA]);
        return;
    }
}

struct lookup {
    ubus_lookup_handler_t cb;
    void *priv;
};

static void on_lookup(struct ubus_request *req, struct blob_attr **attrs)
{
    const struct lookup *lookup = req->priv;
    if (attrs[UBUS_ATTR_OBJID] == NULL || attrs[UBUS_ATTR_OBJPATH] == NULL ||
        attrs[UBUS_ATTR_OBJTYPE] == NULL)
        return;
    struct ubus_object_data object = {
        .id = blob_get_u32(attrs[UBUS_ATTR_OBJID]),
        .type_id = blob_get_u32(attrs[UBUS_ATTR_OBJTYPE]),
        .path = blob_get_string(attrs[UBUS_ATTR_OBJPATH]),
        .signature = attrs[UBUS_ATTR_SIGNATURE],
    };
    lookup->cb(req->ctx, &object, lookup->priv);
}

int ubus_lookup(struct ubus_context *ctx, const char *path, ubus_lookup_handler_t cb, void *priv)
{
    struct lookup lookup = {.cb = cb, .priv = priv};
    struct ubus_request req = {.raw_data_cb = on_lookup, .priv = &lookup};
    ubus_begin();
    if (path != NULL) blob_put_string(&ubus_out, UBUS_ATTR_OBJPATH, path);
    return ubus_request(ctx, &req, UBUS_MSG_LOOKUP, 0);
}

static void on_lookup_id(struct ubus_request *req, struct blob_attr **attrs)
{
    if (attrs[UBUS_ATTR_OBJID] != NULL)
        *(uint32_t *)req->priv = blob_get_u32(attrs[UBUS_ATTR_OBJID]);
}

int ubus_lookup_id(struct ubus_context *ctx, const char *path, uint32_t *id)
{
    struct ubus_request req = {.raw_data_cb = on_lookup_id, .priv = id};
    ubus_begin();
    blob_put_string(&ubus_out, UBUS_ATTR_OBJPATH, path);
    return ubus_request(ctx, &req, UBUS_MSG_LOOKUP, 0);
}

int ubus_invoke_fd(struct ubus_context *ctx,
                   uint32_t obj,
                   const char *method,
                   struct blob_attr *msg,
                   ubus_data_handler_t cb,
                   void *priv,
                   int timeout,
                   int fd)
{
    struct ubus_request req = {.data_cb = cb, .priv = priv, .peer = obj};
    if (fd >= 0) return UBUS_STATUS_NOT_SUPPORTED;
    ubus_begin();
    blob_put_u32(&ubus_out, UBUS_ATTR_OBJID, obj);
    blob_put_string(&ubus_out, UBUS_ATTR_METHOD, method);
    if (!ubus_put_data(msg)) return UBUS_STATUS_INVALID_ARGUMENT;
    return ubus_request(ctx, &req, UBUS_MSG_INVOKE, timeout);
}
