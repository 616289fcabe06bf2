// SPDX-License-Identifier: ISC
/*
 * Bus client: what is told without being asked for, that is, notifications and events.
 */
#include "internal.h"

int ubus_notify(struct ubus_context *ctx,
                struct ubus_object *obj,
                const char *type,
                struct blob_attr *msg,
                int timeout)
{
    if (timeout >= 0) return UBUS_STATUS_NOT_SUPPORTED;
    ubus_begin();
    blob_put_u32(&ubus_out, UBUS_ATTR_OBJID, obj->id);
    blob_put_string(&ubus_out, UBUS_ATTR_METHOD, type);
    if (!ubus_put_data(msg) || blob_put_u8(&ubus_out, UBUS_ATTR_NO_REPLY, 1) == NULL ||
        ctx->sock.eof || blob_pad_len(ubus_out.head) > UBUS_MAX_MSGLEN ||
        !ubus_send(ctx, UBUS_MSG_NOTIFY, ++ctx->request_seq, obj->id))
        return UBUS_STATUS_INVALID_ARGUMENT;
    return UBUS_STATUS_OK;
}

static int on_notification(struct ubus_context *ctx,
                           struct ubus_object *object,
                           struct ubus_request_data *req,
                           const char *type,
                           struct blob_attr *msg)
{
    struct ubus_subscriber *subscriber = container_of(object, struct ubus_subscriber, obj);
    return subscriber->cb != NULL ? subscriber->cb(ctx, object, req, type, msg) : 0;
}

static const struct ubus_method any_notification = {.handler = on_notification};

int ubus_register_subscriber(struct ubus_context *ctx, struct ubus_subscriber *obj)
{
    INIT_LIST_HEAD(&obj->list);
    obj->obj.methods = &any_notification;
    obj->obj.n_methods = 1;
    return ubus_add_object(ctx, &obj->obj);
}

int ubus_unregister_subscriber(struct ubus_context *ctx, struct ubus_subscriber *obj)
{
    return ubus_remove_object(ctx, &obj->obj);
}

void ubus_target_gone(struct ubus_context *ctx, struct ubus_object *object, uint32_t target)
{
    if (object->methods != &any_notification) return;
    struct ubus_subscriber *subscriber = container_of(object, struct ubus_subscriber, obj);
    if (subscriber->remove_cb != NULL) subscriber->remove_cb(ctx, subscriber, target);
}

static int ask_about(struct ubus_context *ctx,
                     const struct ubus_subscriber *subscriber,
                     uint32_t target,
                     int type)
{
    struct ubus_request req = {.peer = 0};
    ubus_begin();
    blob_put_u32(&ubus_out, UBUS_ATTR_OBJID, subscriber->obj.id);
    blob_put_u32(&ubus_out, UBUS_ATTR_TARGET, target);
    return ubus_request(ctx, &req, type, 0);
}

int ubus_subscribe(struct ubus_context *ctx, struct ubus_subscriber *obj, uint32_t id)
{
    return ask_about(ctx, obj, id, UBUS_MSG_SUBSCRIBE);
}

int ubus_unsubscribe(struct ubus_context *ctx, struct ubus_subscriber *obj, uint32_t id)
{
    return ask_about(ctx, obj, id, UBUS_MSG_UNSUBSCRIBE);
}

static int on_event(struct ubus_context *ctx,
                    struct ubus_object *object,
                    struct ubus_request_data *req,
                    const char *type,
                    struct blob_attr *msg)
{
    struct ubus_event_handler *handler = container_of(object, struct ubus_event_handler, obj);
    (void)req;
    handler->cb(ctx, handler, type, msg);
    return UBUS_STATUS_OK;
}

static const struct ubus_method any_event = {.handler = on_event};

/* A call of the broker's event object; DATA has been opened with `cookie`. */
static int call_events(struct ubus_context *ctx, void *cookie)
{
    struct ubus_request req = {.peer = UBUS_SYSTEM_OBJECT_EVENT};
    blob_nest_end(&ubus_out, cookie);
    return ubus_request(ctx, &req, UBUS_MSG_INVOKE, 0);
}

static void *begin_events(const char *method)
{
    ubus_begin();
    blob_put_u32(&ubus_out, UBUS_ATTR_OBJID, UBUS_SYSTEM_OBJECT_EVENT);
    blob_put_string(&ubus_out, UBUS_ATTR_METHOD, method);
    return blob_nest_start(&ubus_out, UBUS_ATTR_DATA);
}

int ubus_register_event_handler(struct ubus_context *ctx,
                                struct ubus_event_handler *ev,
                                const char *pattern)
{
    if (ev->obj.id == 0) { /* one object may have several patterns */
        ev->obj.methods = &any_event;
        ev->obj.n_methods = 1;
        const int status = ubus_add_object(ctx, &ev->obj);
        if (status != UBUS_STATUS_OK) return status;
    }
    void *data = begin_events("register");
    blobmsg_add_u32(&ubus_out, "object", ev->obj.id);
    blobmsg_add_string(&ubus_out, "pattern", pattern);
    return call_events(ctx, data);
}

int ubus_send_event(struct ubus_context *ctx, const char *id, struct blob_attr *data)
{
    void *cookie = begin_events("send");
    blobmsg_add_string(&ubus_out, "id", id);
    if (blobmsg_add_field(&ubus_out, BLOBMSG_TYPE_TABLE, "data", blob_data(data),
                          (unsigned int)blob_len(data)) != 0)
        return UBUS_STATUS_INVALID_ARGUMENT;
    return call_events(ctx, cookie);
}

int ubus_monitor_start(struct ubus_context *ctx)
{
    return ubus_invoke(ctx, UBUS_SYSTEM_OBJECT_MONITOR, "add", NULL, NULL, NULL, 1000);
}
