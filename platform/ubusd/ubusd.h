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
};

extern size_t ubusd_object_count;

/* client.c */
int ubusd_listen(const char *path);
struct ubusd_client *ubusd_find_client(uint32_t id);
/* Queues what the socket does not take; a client that is too far behind loses the message. */
void ubusd_send(struct ubusd_client *client,
                int type,
                uint16_t seq,
                uint32_t peer,
                const struct blob_attr *body);

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

/* event.c */
enum { UBUSD_EVENT_OBJECT = 1 };

/* A call of the event object; gives the status. */
int ubusd_event_call(struct ubusd_client *client, const char *method, const struct blob_attr *data);
/* "add" or "remove" of a named object, to all listeners. */
void ubusd_event_object(const struct ubusd_object *object, const char *what);
void ubusd_event_forget(const struct ubusd_object *listener);

#endif
