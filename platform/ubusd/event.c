// SPDX-License-Identifier: ISC
/*
 * Bus broker: events, that is, calls to the objects that listen for their name.
 */
#include <stdio.h>
#include <stdlib.h>

#include <libubox/blobmsg.h>

#include "ubusd.h"

struct listener {
    struct list_head list;
    const struct ubusd_object *object;
    char pattern[];
};

static LIST_HEAD(listeners);
static struct blob_buf data_out; /* the event's message */
static struct blob_buf call_out; /* the call around it */
static uint16_t event_seq;

static int handle_register(struct ubusd_client *client, void *data, unsigned int len)
{
    static const struct blobmsg_policy policy[] = {
        {.name = "object", .type = BLOBMSG_TYPE_INT32},
        {.name = "pattern", .type = BLOBMSG_TYPE_STRING},
    };
    struct blob_attr *tb[ARRAY_SIZE(policy)];
    blobmsg_parse(policy, (int)ARRAY_SIZE(policy), tb, data, len);
    if (tb[0] == NULL || tb[1] == NULL) return UBUS_STATUS_INVALID_ARGUMENT;
    const struct ubusd_object *object = ubusd_find_object(blobmsg_get_u32(tb[0]));
    if (object == NULL) return UBUS_STATUS_NOT_FOUND;
    if (object->client != client) return UBUS_STATUS_PERMISSION_DENIED;

    const char *pattern = blobmsg_get_string(tb[1]);
    const size_t size = strlen(pattern) + 1;
    struct listener *listener = calloc(1, sizeof(*listener) + size);
    if (listener == NULL) return UBUS_STATUS_NO_MEMORY;
    memcpy(listener->pattern, pattern, size);
    listener->object = object;
    list_add_tail(&listener->list, &listeners);
    return UBUS_STATUS_OK;
}

static bool hears(const struct listener *listener, const char *event)
{
    return ubusd_matches(listener->pattern, event) &&
           ubusd_permits(&listener->object->client->peer, UBUSD_LISTEN, event, NULL);
}

/* To all listeners but those of `sender`, which may be null. */
static void send_event(const struct ubusd_client *sender,
                       const char *event,
                       const void *data,
                       unsigned int len)
{
    const struct listener *listener;
    event_seq++;
    list_for_each_entry(listener, &listeners, list)
    {
        if (listener->object->client == sender || !hears(listener, event)) continue;
        blob_buf_init(&call_out, 0);
        blob_put_u32(&call_out, UBUS_ATTR_OBJID, listener->object->id);
        blob_put_string(&call_out, UBUS_ATTR_METHOD, event);
        blob_put(&call_out, UBUS_ATTR_DATA, data, len);
        if (blob_pad_len(call_out.head) <= UBUS_MAX_MSGLEN)
            ubusd_send(listener->object->client, UBUS_MSG_INVOKE, event_seq, 0, call_out.head);
    }
}

static int handle_send(struct ubusd_client *client, void *data, unsigned int len)
{
    static const struct blobmsg_policy policy[] = {
        {.name = "id", .type = BLOBMSG_TYPE_STRING},
        {.name = "data", .type = BLOBMSG_TYPE_TABLE},
    };
    struct blob_attr *tb[ARRAY_SIZE(policy)];
    blobmsg_parse(policy, (int)ARRAY_SIZE(policy), tb, data, len);
    if (tb[0] == NULL || tb[1] == NULL) return UBUS_STATUS_INVALID_ARGUMENT;
    const char *event = blobmsg_get_string(tb[0]);
    const bool own = strncmp(event, "ubus.", 5) == 0; /* the broker's */
    if (own || !ubusd_permits(&client->peer, UBUSD_SEND, event, NULL))
        return UBUS_STATUS_PERMISSION_DENIED;
    send_event(client, event, blobmsg_data(tb[1]), (unsigned int)blobmsg_data_len(tb[1]));
    return UBUS_STATUS_OK;
}

int ubusd_event_call(struct ubusd_client *client, const char *method, const struct blob_attr *data)
{
    void *payload = data != NULL ? blob_data(data) : NULL;
    const unsigned int len = data != NULL ? (unsigned int)blob_len(data) : 0;
    if (strcmp(method, "register") == 0) return handle_register(client, payload, len);
    if (strcmp(method, "send") == 0) return handle_send(client, payload, len);
    return UBUS_STATUS_INVALID_COMMAND;
}

void ubusd_event_object(const struct ubusd_object *object, const char *what)
{
    char event[32];
    if (object->path == NULL) return;
    snprintf(event, sizeof(event), "ubus.object.%s", what);
    blob_buf_init(&data_out, 0);
    blobmsg_add_u32(&data_out, "id", object->id);
    blobmsg_add_string(&data_out, "path", object->path);
    send_event(NULL, event, blob_data(data_out.head), (unsigned int)blob_len(data_out.head));
}

void ubusd_event_forget(const struct ubusd_object *object)
{
    struct listener *listener;
    struct listener *following;
    list_for_each_entry_safe(listener, following, &listeners, list)
    {
        if (listener->object != object) continue;
        list_del(&listener->list);
        free(listener);
    }
}
