// SPDX-License-Identifier: ISC
/*
 * Bus client: calling methods of other programs and offering objects to them.
 *
 * One thread only. Synchronous calls read the socket themselves and need no running loop; requests
 * that arrive meanwhile are queued and handled when the outermost call or handler is over.
 */
#ifndef LIBUBUS_H
#define LIBUBUS_H

#ifdef __cplusplus
extern "C" {
#endif

#include <stdint.h>

#include <libubox/avl.h>
#include <libubox/blob.h>
#include <libubox/blobmsg.h>
#include <libubox/list.h>
#include <libubox/uloop.h>

#include "ubus_common.h"
#include "ubusmsg.h"

struct ubus_context;
struct ubus_object;
struct ubus_request;
struct ubus_request_data;
struct ubus_object_data;
struct ubus_event_handler;
struct ubus_subscriber;

typedef void (*ubus_lookup_handler_t)(struct ubus_context *ctx,
                                      struct ubus_object_data *obj,
                                      void *priv);
typedef int (*ubus_handler_t)(struct ubus_context *ctx,
                              struct ubus_object *obj,
                              struct ubus_request_data *req,
                              const char *method,
                              struct blob_attr *msg);
typedef void (*ubus_state_handler_t)(struct ubus_context *ctx, struct ubus_object *obj);
typedef void (*ubus_remove_handler_t)(struct ubus_context *ctx,
                                      struct ubus_subscriber *obj,
                                      uint32_t id);
typedef bool (*ubus_new_object_handler_t)(struct ubus_context *ctx,
                                          struct ubus_subscriber *sub,
                                          const char *path);
typedef void (*ubus_event_handler_t)(struct ubus_context *ctx,
                                     struct ubus_event_handler *ev,
                                     const char *type,
                                     struct blob_attr *msg);
typedef void (*ubus_monitor_handler_t)(struct ubus_context *ctx,
                                       uint32_t seq,
                                       struct blob_attr *data);
typedef void (*ubus_data_handler_t)(struct ubus_request *req, int type, struct blob_attr *msg);

#define UBUS_METHOD_NOARG(_name, _handler)                                                      \
    {                                                                                           \
        .name = _name, .handler = _handler, .mask = 0, .tags = 0, .policy = NULL, .n_policy = 0 \
    }

#define UBUS_METHOD(_name, _handler, _policy)                                        \
    {                                                                                \
        .name = _name, .handler = _handler, .mask = 0, .tags = 0, .policy = _policy, \
        .n_policy = (int)ARRAY_SIZE(_policy)                                         \
    }

#define UBUS_OBJECT_TYPE(_name, _methods)                                                   \
    {                                                                                       \
        .name = _name, .id = 0, .methods = _methods, .n_methods = (int)ARRAY_SIZE(_methods) \
    }

struct ubus_method {
    const char *name;
    ubus_handler_t handler;
    unsigned long mask; /* non-zero: the policy entries that the signature shows */
    unsigned long tags;
    const struct blobmsg_policy *policy;
    int n_policy;
};

struct ubus_object_type {
    const char *name; /* never sent */
    uint32_t id;
    const struct ubus_method *methods; /* the signature */
    int n_methods;
};

/* Object and type outlive the registration. */
struct ubus_object {
    struct avl_node avl;
    const char *name;
    uint32_t id;
    const char *path;
    struct ubus_object_type *type;
    ubus_state_handler_t subscribe_cb; /* `has_subscribers` has changed */
    bool has_subscribers;
    const struct ubus_method *methods; /* the dispatch */
    int n_methods;
};

/* Zeroed but for the callbacks; outlives the registration. */
struct ubus_subscriber {
    struct list_head list;
    struct ubus_object obj;
    ubus_handler_t cb;                    /* a notification; `method` is its type */
    ubus_remove_handler_t remove_cb;      /* the target `id` is gone; may be null */
    ubus_new_object_handler_t new_obj_cb; /* not called by this library */
};

struct ubus_event_handler {
    struct ubus_object obj;
    ubus_event_handler_t cb;
};

struct ubus_object_data {
    uint32_t id;
    uint32_t type_id;
    const char *path;
    struct blob_attr *signature;
};

struct ubus_acl_key {
    const char *user;
    const char *group;
    const char *object;
};

struct ubus_request_data {
    uint32_t object;
    uint32_t peer;
    uint16_t seq;
    struct ubus_acl_key acl;
    bool deferred;
    int fd;
    int req_fd;
};

struct ubus_request {
    struct list_head list;
    int status_code;
    bool status_msg;
    uint32_t peer;
    uint16_t seq;
    /* Every DATA message, its attributes sorted by id. */
    void (*raw_data_cb)(struct ubus_request *req, struct blob_attr **attrs);
    ubus_data_handler_t data_cb;
    struct ubus_context *ctx;
    void *priv;
};

/* A caller touches `sock`, `connection_lost` and `monitor_cb`. */
struct ubus_context {
    struct list_head requests;
    struct avl_tree objects;
    struct list_head pending;
    struct uloop_fd sock;
    struct uloop_timeout pending_timer;
    uint32_t local_id;
    uint16_t request_seq;
    bool lost; /* connection_lost has been called */
    int stack_depth;
    void (*connection_lost)(struct ubus_context *ctx);
    ubus_monitor_handler_t
        monitor_cb; /* a message of others; `data` has UBUS_MONITOR_ attributes */
};

/* Null path: the default one. Waits for the broker's first message without a limit; null on any
 * failure. The socket is not in the loop yet. */
struct ubus_context *ubus_connect(const char *path);
void ubus_free(struct ubus_context *ctx);

/* The calls below give a UBUS_STATUS_ code, or whatever number the other side answered. */

/* Waits for ever on a silent broker. */
int ubus_add_object(struct ubus_context *ctx, struct ubus_object *obj);
int ubus_remove_object(struct ubus_context *ctx, struct ubus_object *obj);
/* Null path: all objects; one that ends in '*': all that begin so. */
int ubus_lookup(struct ubus_context *ctx, const char *path, ubus_lookup_handler_t cb, void *priv);
/* `*id` is left alone when nothing is found. */
int ubus_lookup_id(struct ubus_context *ctx, const char *path, uint32_t *id);

/* `timeout` in ms; 0: none, negative: does not wait. Descriptor passing is not supported. */
int ubus_invoke_fd(struct ubus_context *ctx,
                   uint32_t obj,
                   const char *method,
                   struct blob_attr *msg,
                   ubus_data_handler_t cb,
                   void *priv,
                   int timeout,
                   int fd);

static inline int ubus_invoke(struct ubus_context *ctx,
                              uint32_t obj,
                              const char *method,
                              struct blob_attr *msg,
                              ubus_data_handler_t cb,
                              void *priv,
                              int timeout)
{
    return ubus_invoke_fd(ctx, obj, method, msg, cb, priv, timeout, -1);
}

int ubus_send_reply(struct ubus_context *ctx, struct ubus_request_data *req, struct blob_attr *msg);

/* To all subscribers of an own object. `timeout` negative: returns as soon as the broker has it,
 * and no subscriber answers. To wait for their answers is not supported. */
int ubus_notify(struct ubus_context *ctx,
                struct ubus_object *obj,
                const char *type,
                struct blob_attr *msg,
                int timeout);

int ubus_register_subscriber(struct ubus_context *ctx, struct ubus_subscriber *obj);
int ubus_unregister_subscriber(struct ubus_context *ctx, struct ubus_subscriber *obj);
/* `id` is the target's. */
int ubus_subscribe(struct ubus_context *ctx, struct ubus_subscriber *obj, uint32_t id);
int ubus_unsubscribe(struct ubus_context *ctx, struct ubus_subscriber *obj, uint32_t id);

/* Events of that name, or of all that begin with what stands before a final '*'. */
int ubus_register_event_handler(struct ubus_context *ctx,
                                struct ubus_event_handler *ev,
                                const char *pattern);
int ubus_send_event(struct ubus_context *ctx, const char *id, struct blob_attr *data);

/* All messages of all others. */
int ubus_monitor_start(struct ubus_context *ctx);

const char *ubus_strerror(int error);

/* Takes in what is there to be read, and handles it. */
static inline void ubus_handle_event(struct ubus_context *ctx)
{
    ctx->sock.cb(&ctx->sock, ULOOP_READ);
}

static inline void ubus_add_uloop(struct ubus_context *ctx)
{
    uloop_fd_add(&ctx->sock, ULOOP_BLOCKING | ULOOP_READ);
}

#ifdef __cplusplus
}
#endif

#endif
