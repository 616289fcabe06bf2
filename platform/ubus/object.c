// SPDX-License-Identifier: ISC
/*
 * Bus client: own objects, and the requests to them.
 */
#include "internal.h"

struct registration {
    struct ubus_object *object;
    bool answered;
};

static void put_signature(const struct ubus_object_type *type)
{
    void *signature = blob_nest_start(&ubus_out, UBUS_ATTR_SIGNATURE);
    for (int i = 0; i < type->n_methods; i++) {
        const struct ubus_method *method = &type->methods[i];
        void *table = blobmsg_open_table(&ubus_out, method->name);
        for (int j = 0; j < method->n_policy; j++) {
            if (method->mask == 0 || (method->mask & (1UL << j)) != 0)
                blobmsg_add_u32(&ubus_out, method->policy[j].name,
                                (uint32_t)method->policy[j].type);
        }
        blobmsg_close_table(&ubus_out, table);
    }
    blob_nest_end(&ubus_out, signature);
}

static void on_added(struct ubus_request *req, struct blob_attr **attrs)
{
    struct registration *registration = req->priv;
    struct ubus_object *object = registration->object;
    if (attrs[UBUS_ATTR_OBJID] == NULL) return;
    registration->answered = true;
    object->id = blob_get_u32(attrs[UBUS_ATTR_OBJID]);
    if (attrs[UBUS_ATTR_OBJTYPE] != NULL && object->type != NULL)
        object->type->id = blob_get_u32(attrs[UBUS_ATTR_OBJTYPE]);
}

int ubus_add_object(struct ubus_context *ctx, struct ubus_object *obj)
{
    struct registration registration = {.object = obj};
    struct ubus_request req = {.raw_data_cb = on_added, .priv = &registration};
    ubus_begin();
    if (obj->name != NULL && obj->type != NULL) {
        blob_put_string(&ubus_out, UBUS_ATTR_OBJPATH, obj->name);
        if (obj->type->id != 0)
            blob_put_u32(&ubus_out, UBUS_ATTR_OBJTYPE, obj->type->id);
        else
            put_signature(obj->type);
    }
    const int status = ubus_request(ctx, &req, UBUS_MSG_ADD_OBJECT, 0);
    if (status != UBUS_STATUS_OK) return status;
    if (!registration.answered) return UBUS_STATUS_NO_DATA;
    list_add_tail(&obj->avl.list, &ctx->objects.list_head);
    return UBUS_STATUS_OK;
}

static void on_removed(struct ubus_request *req, struct blob_attr **attrs)
{
    struct ubus_object *object = req->priv;
    if (attrs[UBUS_ATTR_OBJID] == NULL) return;
    object->id = 0;
    if (attrs[UBUS_ATTR_OBJTYPE] != NULL && object->type != NULL) object->type->id = 0;
}

int ubus_remove_object(struct ubus_context *ctx, struct ubus_object *obj)
{
    struct ubus_request req = {.raw_data_cb = on_removed, .priv = obj};
    ubus_begin();
    blob_put_u32(&ubus_out, UBUS_ATTR_OBJID, obj->id);
    const int status = ubus_request(ctx, &req, UBUS_MSG_REMOVE_OBJECT, 0);
    if (status == UBUS_STATUS_OK) list_del(&obj->avl.list);
    return status;
}

int ubus_send_reply(struct ubus_context *ctx, struct ubus_request_data *req, struct blob_attr *msg)
{
    ubus_begin();
    blob_put_u32(&ubus_out, UBUS_ATTR_OBJID, req->object);
    if (!ubus_put_data(msg)) return UBUS_STATUS_NO_MEMORY;
    return ubus_send(ctx, UBUS_MSG_DATA, req->seq, req->peer) ? UBUS_STATUS_OK
                                                              : UBUS_STATUS_NO_DATA;
}

static void send_status(struct ubus_context *ctx, const struct ubus_request_data *req, int status)
{
    ubus_begin();
    blob_put_u32(&ubus_out, UBUS_ATTR_STATUS, (uint32_t)status);
    blob_put_u32(&ubus_out, UBUS_ATTR_OBJID, req->object);
    (void)ubus_send(ctx, UBUS_MSG_STATUS, req->seq, req->peer); /* the loss shows in `sock.eof` */
}

struct ubus_object *ubus_find_object(struct ubus_context *ctx, uint32_t id)
{
    struct ubus_object *object;
    list_for_each_entry(object, &ctx->objects.list_head, avl.list)
    {
        if (object->id == id) return object;
    }
    return NULL;
}

static const char *text_of(const struct blob_attr *attr)
{
    return attr != NULL ? blob_get_string(attr) : NULL;
}

static const struct ubus_method *find_method(const struct ubus_object *object, const char *name)
{
    for (int i = 0; i < object->n_methods; i++) {
        const char *own = object->methods[i].name; /* null: any */
        if (own == NULL || strcmp(own, name) == 0) return &object->methods[i];
    }
    return NULL;
}

static int call_handler(struct ubus_context *ctx,
                        struct ubus_object *object,
                        struct ubus_request_data *req,
                        struct blob_attr **attrs)
{
    const struct ubus_method *method = find_method(object, text_of(attrs[UBUS_ATTR_METHOD]));
    if (method == NULL) return UBUS_STATUS_METHOD_NOT_FOUND;
    if (attrs[UBUS_ATTR_DATA] == NULL) return UBUS_STATUS_INVALID_ARGUMENT;
    return method->handler(ctx, object, req, text_of(attrs[UBUS_ATTR_METHOD]),
                           attrs[UBUS_ATTR_DATA]);
}

static void invoke(struct ubus_context *ctx,
                   struct ubus_object *object,
                   struct ubus_msg *msg,
                   struct blob_attr **attrs)
{
    /* Without object or method the answer goes to peer 0, that is, to nobody. */
    struct ubus_request_data req = {.fd = -1, .req_fd = -1};
    int status = UBUS_STATUS_NOT_FOUND;
    if (object != NULL && attrs[UBUS_ATTR_METHOD] == NULL) status = UBUS_STATUS_INVALID_ARGUMENT;
    if (object != NULL && attrs[UBUS_ATTR_METHOD] != NULL) {
        req.object = object->id;
        req.peer = be32toh(msg->hdr.peer);
        req.seq = be16toh(msg->hdr.seq);
        req.acl.user = text_of(attrs[UBUS_ATTR_USER]);
        req.acl.group = text_of(attrs[UBUS_ATTR_GROUP]);
        req.acl.object = object->name;
        status = call_handler(ctx, object, &req, attrs);
    }
    const bool silent =
        attrs[UBUS_ATTR_NO_REPLY] != NULL && blob_get_u8(attrs[UBUS_ATTR_NO_REPLY]) != 0;
    if (!silent) send_status(ctx, &req, status);
}

void ubus_dispatch(struct ubus_context *ctx, struct ubus_msg *msg)
{
    struct blob_attr *attrs[UBUS_ATTR_MAX];
    ubus_msg_parse(msg, attrs);
    if (attrs[UBUS_ATTR_OBJID] == NULL) return;
    struct ubus_object *object = ubus_find_object(ctx, blob_get_u32(attrs[UBUS_ATTR_OBJID]));
    if (msg->hdr.type == UBUS_MSG_INVOKE) {
        invoke(ctx, object, msg, attrs);
    } else if (object != NULL && attrs[UBUS_ATTR_TARGET] != NULL) {
        ubus_target_gone(ctx, object, blob_get_u32(attrs[UBUS_ATTR_TARGET]));
    } else if (object != NULL && attrs[UBUS_ATTR_ACTIVE] != NULL) {
        object->has_subscribers = blob_get_u8(attrs[UBUS_ATTR_ACTIVE]) != 0;
        if (object->subscribe_cb != NULL) object->subscribe_cb(ctx, object);
    }
}
