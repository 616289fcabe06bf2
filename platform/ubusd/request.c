// SPDX-License-Identifier: ISC
/*
 * Bus broker: what each message asks for.
 */
#include "ubusd.h"

/* Where no STATUS of the broker's own follows. */
#define NO_STATUS (-1)

struct request {
    struct ubusd_client *client;
    struct ubus_msg *msg;
    struct blob_attr *attrs[UBUS_ATTR_MAX];
    uint16_t seq;
    uint32_t peer;
};

static struct blob_buf out;

static void send_out(const struct request *req, int type)
{
    ubusd_send(req->client, type, req->seq, req->peer, out.head);
}

static int handle_ping(struct request *req)
{
    ubusd_send(req->client, UBUS_MSG_DATA, req->seq, req->peer, ubus_msg_body(req->msg));
    return UBUS_STATUS_OK;
}

/* An object without name or type is not shown, nor one that the peer may not call. */
static void send_description(const struct request *req, const struct ubusd_object *object)
{
    if (object->path == NULL || object->type == NULL ||
        !ubusd_permits(&req->client->peer, UBUSD_ACCESS, object->path, NULL))
        return;
    const struct blob_attr *signature = object->type->signature;
    blob_buf_init(&out, 0);
    blob_put_string(&out, UBUS_ATTR_OBJPATH, object->path);
    blob_put_u32(&out, UBUS_ATTR_OBJID, object->id);
    blob_put_u32(&out, UBUS_ATTR_OBJTYPE, object->type->id);
    blob_put(&out, UBUS_ATTR_SIGNATURE, signature->data, (unsigned int)blob_len(signature));
    if (blob_pad_len(out.head) <= UBUS_MAX_MSGLEN) send_out(req, UBUS_MSG_DATA);
}

struct listing {
    const struct request *req;
    const char *pattern;
    bool found;
};

static void list_object(const struct ubusd_object *object, void *priv)
{
    struct listing *listing = priv;
    if (!ubusd_matches(listing->pattern, object->path)) return;
    send_description(listing->req, object);
    listing->found = true;
}

static bool describe_matches(const struct request *req, const char *pattern)
{
    struct listing listing = {.req = req, .pattern = pattern};
    ubusd_each_path(list_object, &listing);
    return listing.found;
}

static int handle_lookup(struct request *req)
{
    if (req->attrs[UBUS_ATTR_OBJPATH] == NULL) {
        (void)describe_matches(req, "*"); /* none is an answer, too */
        return UBUS_STATUS_OK;
    }
    const char *path = blob_get_string(req->attrs[UBUS_ATTR_OBJPATH]);
    const size_t len = strlen(path);
    if (len == 0) return UBUS_STATUS_INVALID_ARGUMENT;
    if (path[len - 1] == '*')
        return describe_matches(req, path) ? UBUS_STATUS_OK : UBUS_STATUS_NOT_FOUND;
    const struct ubusd_object *object = ubusd_find_path(path);
    if (object == NULL) return UBUS_STATUS_NOT_FOUND;
    send_description(req, object);
    return UBUS_STATUS_OK;
}

static int handle_add_object(struct request *req)
{
    const char *path = NULL;
    if (req->attrs[UBUS_ATTR_OBJPATH] != NULL)
        path = blob_get_string(req->attrs[UBUS_ATTR_OBJPATH]);
    if (path != NULL && (ubusd_find_path(path) != NULL ||
                         !ubusd_permits(&req->client->peer, UBUSD_PUBLISH, path, NULL)))
        return UBUS_STATUS_INVALID_ARGUMENT;

    struct ubusd_type *type = NULL;
    const struct blob_attr *signature = req->attrs[UBUS_ATTR_SIGNATURE];
    if (signature != NULL)
        type = ubusd_new_type(signature);
    else if (req->attrs[UBUS_ATTR_OBJTYPE] != NULL)
        type = ubusd_find_type(blob_get_u32(req->attrs[UBUS_ATTR_OBJTYPE]));
    const struct ubusd_object *object = ubusd_add_object(req->client, path, type);
    if (object == NULL) {
        ubusd_drop_type(type);
        return UBUS_STATUS_NO_MEMORY;
    }

    blob_buf_init(&out, 0);
    blob_put_u32(&out, UBUS_ATTR_OBJID, object->id);
    if (signature != NULL && type != NULL) blob_put_u32(&out, UBUS_ATTR_OBJTYPE, type->id);
    send_out(req, UBUS_MSG_DATA);
    return UBUS_STATUS_OK;
}

/* The object of which `id`, an OBJID or a TARGET, is the number; null without a sound one, too. */
static struct ubusd_object *object_of(const struct request *req, int id)
{
    if (req->attrs[id] == NULL) return NULL;
    return ubusd_find_object(blob_get_u32(req->attrs[id]));
}

static struct ubusd_object *named_object(const struct request *req)
{
    return object_of(req, UBUS_ATTR_OBJID);
}

static int handle_remove_object(struct request *req)
{
    if (req->attrs[UBUS_ATTR_OBJID] == NULL) return UBUS_STATUS_INVALID_ARGUMENT;
    struct ubusd_object *object = named_object(req);
    if (object == NULL) return UBUS_STATUS_NOT_FOUND;
    if (object->client != req->client) return UBUS_STATUS_PERMISSION_DENIED;
    const uint32_t id = object->id;
    const uint32_t type = object->type != NULL ? object->type->id : 0;
    const bool type_gone = ubusd_remove_object(object);

    blob_buf_init(&out, 0);
    blob_put_u32(&out, UBUS_ATTR_OBJID, id);
    if (type_gone) blob_put_u32(&out, UBUS_ATTR_OBJTYPE, type);
    send_out(req, UBUS_MSG_DATA);
    return UBUS_STATUS_OK;
}

/* The call of `object` that the request asks for, its maker's account names added. */
static void put_call(const struct request *req, const struct ubusd_object *object)
{
    const struct blob_attr *data = req->attrs[UBUS_ATTR_DATA];
    blob_buf_init(&out, 0);
    blob_put_u32(&out, UBUS_ATTR_OBJID, object->id);
    blob_put_string(&out, UBUS_ATTR_METHOD, blob_get_string(req->attrs[UBUS_ATTR_METHOD]));
    blob_put_string(&out, UBUS_ATTR_USER, req->client->user);
    blob_put_string(&out, UBUS_ATTR_GROUP, req->client->group);
    if (data != NULL) blob_put(&out, UBUS_ATTR_DATA, data->data, (unsigned int)blob_len(data));
}

/* Only root sees what others say. */
static int call_monitor(struct ubusd_client *client, const char *method)
{
    const bool add = strcmp(method, "add") == 0;
    if (!ubusd_permits(&client->peer, UBUSD_ACCESS, NULL, NULL))
        return UBUS_STATUS_PERMISSION_DENIED;
    if (!add && strcmp(method, "remove") != 0) return UBUS_STATUS_METHOD_NOT_FOUND;
    ubusd_monitor(client, add);
    return UBUS_STATUS_OK;
}

static int handle_invoke(struct request *req)
{
    if (req->attrs[UBUS_ATTR_METHOD] == NULL || req->attrs[UBUS_ATTR_OBJID] == NULL)
        return UBUS_STATUS_INVALID_ARGUMENT;
    const char *method = blob_get_string(req->attrs[UBUS_ATTR_METHOD]);
    if (blob_get_u32(req->attrs[UBUS_ATTR_OBJID]) == UBUS_SYSTEM_OBJECT_EVENT)
        return ubusd_event_call(req->client, method, req->attrs[UBUS_ATTR_DATA]);
    if (blob_get_u32(req->attrs[UBUS_ATTR_OBJID]) == UBUS_SYSTEM_OBJECT_MONITOR)
        return call_monitor(req->client, method);
    const struct ubusd_object *object = named_object(req);
    if (object == NULL) return UBUS_STATUS_NOT_FOUND;
    if (!ubusd_permits(&req->client->peer, UBUSD_ACCESS, object->path, method))
        return UBUS_STATUS_PERMISSION_DENIED;

    put_call(req, object);
    /* The account names have made it longer: the owner could not read it any more. */
    if (blob_pad_len(out.head) > UBUS_MAX_MSGLEN) return UBUS_STATUS_INVALID_ARGUMENT;
    (void)ubusd_send(object->client, UBUS_MSG_INVOKE, req->seq, req->client->id, out.head);
    return NO_STATUS;
}

/* DATA and STATUS of an object's owner go on to the caller, or nowhere. */
static int handle_answer(struct request *req)
{
    const struct ubusd_object *object = named_object(req);
    struct ubusd_client *caller = ubusd_find_client(req->peer);
    const int needed = req->msg->hdr.type == UBUS_MSG_STATUS ? UBUS_ATTR_STATUS : UBUS_ATTR_DATA;
    if (object != NULL && object->client == req->client && caller != NULL &&
        req->attrs[needed] != NULL)
        ubusd_send(caller, req->msg->hdr.type, req->seq, object->id, ubus_msg_body(req->msg));
    return NO_STATUS;
}

/* Who may not subscribe is told what he would be told of an object that is not there. */
static int handle_subscribe(struct request *req)
{
    if (req->attrs[UBUS_ATTR_OBJID] == NULL || req->attrs[UBUS_ATTR_TARGET] == NULL)
        return UBUS_STATUS_INVALID_ARGUMENT;
    struct ubusd_object *subscriber = named_object(req);
    if (subscriber == NULL) return UBUS_STATUS_NOT_FOUND;
    if (subscriber->client != req->client) return UBUS_STATUS_INVALID_ARGUMENT;
    struct ubusd_object *target = object_of(req, UBUS_ATTR_TARGET);
    if (target == NULL) return UBUS_STATUS_NOT_FOUND;
    if (target->client == req->client) return UBUS_STATUS_INVALID_ARGUMENT;
    if (!ubusd_permits(&req->client->peer, UBUSD_SUBSCRIBE, target->path, NULL))
        return UBUS_STATUS_NOT_FOUND;
    return ubusd_subscribe(subscriber, target) ? UBUS_STATUS_OK : UBUS_STATUS_NO_MEMORY;
}

static int handle_unsubscribe(struct request *req)
{
    if (req->attrs[UBUS_ATTR_OBJID] == NULL || req->attrs[UBUS_ATTR_TARGET] == NULL)
        return UBUS_STATUS_INVALID_ARGUMENT;
    struct ubusd_object *subscriber = named_object(req);
    struct ubusd_object *target = object_of(req, UBUS_ATTR_TARGET);
    if (subscriber == NULL || target == NULL) return UBUS_STATUS_NOT_FOUND;
    if (subscriber->client != req->client) return UBUS_STATUS_INVALID_ARGUMENT;
    return ubusd_unsubscribe(subscriber, target) ? UBUS_STATUS_OK : UBUS_STATUS_NOT_FOUND;
}

/* To a publisher that waits for its subscribers: whose answers there will be. */
static void name_subscribers(const struct request *req, const struct ubusd_object *publisher)
{
    const struct ubusd_subscription *subscription;
    blob_buf_init(&out, 0);
    blob_put_u32(&out, UBUS_ATTR_STATUS, UBUS_STATUS_OK);
    blob_put_u32(&out, UBUS_ATTR_OBJID, publisher->id);
    void *ids = blob_nest_start(&out, UBUS_ATTR_SUBSCRIBERS);
    list_for_each_entry(subscription, &publisher->subscribers, of_target)
    {
        blob_put_u32(&out, 0, subscription->subscriber->id);
    }
    blob_nest_end(&out, ids);
    send_out(req, UBUS_MSG_STATUS);
}

static void put_notification(const struct request *req, const struct ubusd_object *subscriber)
{
    const struct blob_attr *quiet = req->attrs[UBUS_ATTR_NO_REPLY];
    put_call(req, subscriber);
    if (quiet != NULL) blob_put_u8(&out, UBUS_ATTR_NO_REPLY, blob_get_u8(quiet));
}

/* A notification is a call of each subscriber. One that is lost would make those after it wrong:
 * rather the subscriber loses its connection, and knows. */
static int handle_notify(struct request *req)
{
    if (req->attrs[UBUS_ATTR_OBJID] == NULL || req->attrs[UBUS_ATTR_METHOD] == NULL)
        return UBUS_STATUS_INVALID_ARGUMENT;
    const struct ubusd_object *publisher = named_object(req);
    if (publisher == NULL) return UBUS_STATUS_NOT_FOUND;
    if (publisher->client != req->client) return UBUS_STATUS_PERMISSION_DENIED;
    const struct blob_attr *quiet = req->attrs[UBUS_ATTR_NO_REPLY];
    put_notification(req, publisher);
    if (blob_pad_len(out.head) > UBUS_MAX_MSGLEN) return UBUS_STATUS_INVALID_ARGUMENT;
    if (quiet == NULL || blob_get_u8(quiet) == 0) name_subscribers(req, publisher);

    const struct ubusd_subscription *subscription;
    list_for_each_entry(subscription, &publisher->subscribers, of_target)
    {
        struct ubusd_client *client = subscription->subscriber->client;
        put_notification(req, subscription->subscriber);
        if (!ubusd_send(client, UBUS_MSG_INVOKE, req->seq, req->client->id, out.head))
            ubusd_give_up(client);
    }
    return NO_STATUS;
}

static int (*const handlers[__UBUS_MSG_LAST])(struct request *req) = {
    [UBUS_MSG_STATUS] = handle_answer,
    [UBUS_MSG_DATA] = handle_answer,
    [UBUS_MSG_PING] = handle_ping,
    [UBUS_MSG_LOOKUP] = handle_lookup,
    [UBUS_MSG_INVOKE] = handle_invoke,
    [UBUS_MSG_ADD_OBJECT] = handle_add_object,
    [UBUS_MSG_REMOVE_OBJECT] = handle_remove_object,
    [UBUS_MSG_SUBSCRIBE] = handle_subscribe,
    [UBUS_MSG_UNSUBSCRIBE] = handle_unsubscribe,
    [UBUS_MSG_NOTIFY] = handle_notify,
};

void ubusd_handle(struct ubusd_client *client, struct ubus_msg *msg)
{
    struct request req = {
        .client = client, .msg = msg, .seq = be16toh(msg->hdr.seq), .peer = be32toh(msg->hdr.peer)};
    ubus_msg_parse(msg, req.attrs);
    int status = UBUS_STATUS_INVALID_COMMAND;
    if (msg->hdr.type < __UBUS_MSG_LAST && handlers[msg->hdr.type] != NULL)
        status = handlers[msg->hdr.type](&req);
    if (status == NO_STATUS) return;
    blob_buf_init(&out, 0);
    blob_put_u32(&out, UBUS_ATTR_STATUS, (uint32_t)status);
    send_out(&req, UBUS_MSG_STATUS);
}
