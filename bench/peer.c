// SPDX-License-Identifier: ISC
/*
 * bench_peer SIZE: the least that can stand on the bus. Object "bench" with a method "nothing",
 * which only returns, and a method "same", whose reply of SIZE octets was made at the start.
 */
#include <stdlib.h>

#include <libubus.h>

static struct blob_buf reply;

static int do_nothing(struct ubus_context *ctx,
                      struct ubus_object *object,
                      struct ubus_request_data *request,
                      const char *method,
                      struct blob_attr *message)
{
    (void)ctx;
    (void)object;
    (void)request;
    (void)method;
    (void)message;
    return 0;
}

static int reply_same(struct ubus_context *ctx,
                      struct ubus_object *object,
                      struct ubus_request_data *request,
                      const char *method,
                      struct blob_attr *message)
{
    (void)object;
    (void)method;
    (void)message;
    return ubus_send_reply(ctx, request, reply.head);
}

static const struct ubus_method methods[] = {
    {.name = "nothing", .handler = do_nothing},
    {.name = "same", .handler = reply_same},
};
static struct ubus_object_type type = {.name = "bench", .methods = methods, .n_methods = 2};
static struct ubus_object object = {
    .name = "bench", .type = &type, .methods = methods, .n_methods = 2};

int main(int argc, char **argv)
{
    static char octets[65536];
    unsigned long size = argc == 2 ? strtoul(argv[1], NULL, 10) : 0;
    struct ubus_context *ctx;

    if (size > sizeof(octets) || uloop_init() != 0 || blob_buf_init(&reply, 0) != 0) return 1;
    if (blobmsg_add_field(&reply, BLOBMSG_TYPE_UNSPEC, "", octets, (unsigned)size) != 0) return 1;
    ctx = ubus_connect(NULL);
    if (ctx == NULL || ubus_add_object(ctx, &object) != 0) return 1;
    uloop_fd_add(&ctx->sock, ULOOP_READ | ULOOP_BLOCKING);
    uloop_run();
    return 0;
}
