// SPDX-License-Identifier: ISC
/*
 * Command line client: notifications and events, shown as they come.
 */
#include <inttypes.h>
#include <limits.h>
#include <stdio.h>

#include "tool.h"

#define FAILED (-1)

static void on_limit(struct uloop_timeout *timer)
{
    (void)timer;
    uloop_end();
}

static void on_lost(struct ubus_context *ctx)
{
    (void)ctx;
    uloop_end();
}

/* Until the limit, a signal, or the end of the connection. */
static int show(struct ubus_context *ctx)
{
    struct uloop_timeout limit = {.cb = on_limit};
    uloop_init();
    ctx->connection_lost = on_lost;
    ubus_add_uloop(ctx);
    const int seconds = tool_options.limit;
    if (seconds > 0) uloop_timeout_set(&limit, seconds > INT_MAX / 1000 ? INT_MAX : seconds * 1000);
    ubus_handle_event(ctx); /* what has come before the loop */
    if (!ctx->sock.eof) uloop_run();
    uloop_done();
    return UBUS_STATUS_OK;
}

static int complain(const char *name, int status)
{
    if (!tool_options.simple)
        fprintf(stderr, "Error while registering for event '%s': %s\n", name,
                ubus_strerror(status));
    return FAILED;
}

static int on_notification(struct ubus_context *ctx,
                           struct ubus_object *object,
                           struct ubus_request_data *req,
                           const char *type,
                           struct blob_attr *message)
{
    (void)ctx;
    (void)object;
    (void)req;
    tool_print_told(type, message);
    return UBUS_STATUS_OK;
}

int tool_subscribe(struct ubus_context *ctx, int argc, char **argv)
{
    static struct ubus_subscriber subscriber = {.cb = on_notification};
    if (argc < 1) {
        if (!tool_options.simple) fputs("You need to specify an object to subscribe to\n", stderr);
        return FAILED;
    }
    int status = ubus_register_subscriber(ctx, &subscriber);
    for (int i = 0; i < argc; i++) {
        uint32_t id = 0;
        if (status == UBUS_STATUS_OK) status = ubus_lookup_id(ctx, argv[i], &id);
        if (status == UBUS_STATUS_OK) status = ubus_subscribe(ctx, &subscriber, id);
        if (status != UBUS_STATUS_OK) return complain(argv[i], status);
    }
    return show(ctx);
}

static void on_event(struct ubus_context *ctx,
                     struct ubus_event_handler *handler,
                     const char *type,
                     struct blob_attr *message)
{
    (void)ctx;
    (void)handler;
    tool_print_told(type, message);
}

int tool_listen(struct ubus_context *ctx, int argc, char **argv)
{
    static struct ubus_event_handler handler = {.cb = on_event};
    char all[] = "*";
    char *everything[] = {all};
    if (argc < 1) {
        argc = 1;
        argv = everything;
    }
    for (int i = 0; i < argc; i++) {
        const int status = ubus_register_event_handler(ctx, &handler, argv[i]);
        if (status != UBUS_STATUS_OK) return complain(argv[i], status);
    }
    return show(ctx);
}

static void on_message(struct ubus_context *ctx, uint32_t seq, struct blob_attr *message)
{
    static const struct blob_attr_info info[UBUS_MONITOR_MAX + 1] = {
        [UBUS_MONITOR_CLIENT] = {.type = BLOB_ATTR_INT32},
        [UBUS_MONITOR_PEER] = {.type = BLOB_ATTR_INT32},
        [UBUS_MONITOR_SEND] = {.type = BLOB_ATTR_INT8},
        [UBUS_MONITOR_TYPE] = {.type = BLOB_ATTR_INT32},
        [UBUS_MONITOR_DATA] = {.type = BLOB_ATTR_NESTED},
    };
    static const char *const types[__UBUS_MSG_LAST] = {
        "hello",      "status",        "data",      "ping",        "lookup", "invoke",
        "add_object", "remove_object", "subscribe", "unsubscribe", "notify", "monitor"};
    struct blob_attr *attrs[UBUS_MONITOR_MAX + 1];
    (void)ctx;
    (void)seq;
    blob_parse_untrusted(message, blob_raw_len(message), attrs, info, UBUS_MONITOR_MAX + 1);
    for (int i = UBUS_MONITOR_CLIENT; i <= UBUS_MONITOR_MAX; i++)
        if (i != UBUS_MONITOR_SEQ && attrs[i] == NULL) return;
    const uint32_t type = blob_get_u32(attrs[UBUS_MONITOR_TYPE]);
    printf("%s %08" PRIx32 " #%08" PRIx32 " %14s: ",
           blob_get_u8(attrs[UBUS_MONITOR_SEND]) != 0 ? "->" : "<-",
           blob_get_u32(attrs[UBUS_MONITOR_CLIENT]), blob_get_u32(attrs[UBUS_MONITOR_PEER]),
           type < ARRAY_SIZE(types) ? types[type] : "unknown");
    tool_print_attributes(attrs[UBUS_MONITOR_DATA]);
    fflush(stdout);
}

int tool_monitor(struct ubus_context *ctx, int argc, char **argv)
{
    (void)argv;
    if (argc > 0) return TOOL_WRONG_ARGUMENTS;
    ctx->monitor_cb = on_message;
    const int status = ubus_monitor_start(ctx);
    return status == UBUS_STATUS_OK ? show(ctx) : status;
}

int tool_send(struct ubus_context *ctx, int argc, char **argv)
{
    struct blob_buf message = {0};
    if (argc < 1 || argc > 2) return TOOL_WRONG_ARGUMENTS;
    blob_buf_init(&message, 0);
    const bool sound = argc < 2 || tool_scan(&message, argv[1]);
    const int status =
        sound ? ubus_send_event(ctx, argv[0], message.head) : UBUS_STATUS_PARSE_ERROR;
    blob_buf_free(&message);
    return status;
}
