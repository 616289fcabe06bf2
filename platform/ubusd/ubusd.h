// SPDX-License-Identifier: ISC
/*
 * Bus broker. One thread, never blocking: each client has a reader that keeps half messages and a
 * queue for what it does not read yet.
 */
#ifndef UBUSD_H
#define UBUSD_H

#include <libubox/uloop.h>

#include "../ubus/message.h"
#include "access.h"

struct ubusd_client {
    struct list_head objects;
    struct uloop_fd sock;
    uint32_t id; /* 0: none yet */
    struct ubusd_peer peer;
    char *user; /* account names of the peer */
    char *group;
    struct ubus_reader reader;
    char *queue; /* unsent octets: `queued` of them from `sent` on */
    size_t sent;
    size_t queued;
    bool unlimited; /* what is sent now is queued, however much it is */
    bool monitors;  /* it is shown what passes between us and the others */
};

struct ubusd_type {
    uint32_t id;
    unsigned int users;
    struct blob_attr *signature;
};

struct ubusd_object {
    struct list_head of_client;
    uint32_t id;
    char *path;              /* may be null */
    struct ubusd_type *type; /* null: invisible */
    struct ubusd_client *client;
    struct list_head subscribers; /* subscriptions to it */
    struct list_head targets;     /* its own */
    uint16_t told;                /* seq of what it was told last unasked */
};

struct ubusd_subscription {
    struct list_head of_target;
    struct list_head of_subscriber;
    struct ubusd_object *target;
    struct ubusd_object *subscriber;
};

extern size_t ubusd_object_count;

/* client.c */
int ubusd_listen(const char *path);
struct ubusd_client *ubusd_find_client(uint32_t id);
/* Begins or ends that a client is shown all messages. */
void ubusd_monitor(struct ubusd_client *client, bool on);
/* Queues what the socket does not take; false when the client is too far behind: it loses the
 * message. */
bool ubusd_send(struct ubusd_client *client,
                int type,
                uint16_t seq,
                uint32_t peer,
                const struct blob_attr *body);
/* For a stream that is beyond repair; the hang-up takes the client out of the lists later. */
void ubusd_give_up(struct ubusd_client *client);

/* registry.c */

/* Trees (search.h) of ids, each the member of something that is found by it. */

/* A random number that the tree does not have yet and that is not one of the broker's own, and the
 * place in the tree; false without memory. */
bool ubusd_id_assign(void **tree, uint32_t *id);
uint32_t *ubusd_id_find(void *const *tree, uint32_t id);
void ubusd_id_release(void **tree, uint32_t *id);

struct ubusd_object *ubusd_find_object(uint32_t id);
struct ubusd_object *ubusd_find_path(const char *path);
/* Null without memory. `path` and `type` may be null; a type gains a user. */
struct ubusd_object *ubusd_add_object(struct ubusd_client *client,
                                      const char *path,
                                      struct ubusd_type *type);
/* True when the object's type has gone with it. */
bool ubusd_remove_object(struct ubusd_object *object);
void ubusd_remove_objects_of(struct ubusd_client *client);
/* Every object that has a name, by name. */
void ubusd_each_path(void (*take)(const struct ubusd_object *object, void *priv), void *priv);
struct ubusd_type *ubusd_find_type(uint32_t id);
/* Null for a signature with an unnamed entry, or without memory. The type has no user yet. */
struct ubusd_type *ubusd_new_type(const struct blob_attr *signature);
/* Frees it unless it has a user. */
void ubusd_drop_type(struct ubusd_type *type);

/* request.c: answers or forwards one message. */
void ubusd_handle(struct ubusd_client *client, struct ubus_msg *msg);

/* subscription.c */

/* False without memory. The publisher is told of its first subscriber. */
bool ubusd_subscribe(struct ubusd_object *subscriber, struct ubusd_object *target);
/* Ends one such subscription; false when there is none. The publisher is told of its last
 * subscriber. */
bool ubusd_unsubscribe(struct ubusd_object *subscriber, struct ubusd_object *target);
/* Ends all that the object takes part in, as subscriber or as target, and tells the others. */
void ubusd_end_subscriptions(struct ubusd_object *object);

/* event.c */

/* A call of the event object; gives the status. */
int ubusd_event_call(struct ubusd_client *client, const char *method, const struct blob_attr *data);
/* "add" or "remove" of a named object, to all listeners. */
void ubusd_event_object(const struct ubusd_object *object, const char *what);
void ubusd_event_forget(const struct ubusd_object *listener);

#endif
