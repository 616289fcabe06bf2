// SPDX-License-Identifier: ISC
/*
 * Bus client: the connection, and what comes in over it.
 */
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "internal.h"

struct blob_buf ubus_out;

static const char *const status_texts[__UBUS_STATUS_LAST] = {
    [UBUS_STATUS_OK] = "Success",
    [UBUS_STATUS_INVALID_COMMAND] = "Invalid command",
    [UBUS_STATUS_INVALID_ARGUMENT] = "Invalid argument",
    [UBUS_STATUS_METHOD_NOT_FOUND] = "Method not found",
    [UBUS_STATUS_NOT_FOUND] = "Not found",
    [UBUS_STATUS_NO_DATA] = "No response",
    [UBUS_STATUS_PERMISSION_DENIED] = "Permission denied",
    [UBUS_STATUS_TIMEOUT] = "Request timed out",
    [UBUS_STATUS_NOT_SUPPORTED] = "Operation not supported",
    [UBUS_STATUS_UNKNOWN_ERROR] = "Unknown error",
    [UBUS_STATUS_CONNECTION_FAILED] = "Connection failed",
    [UBUS_STATUS_NO_MEMORY] = "Out of memory",
    [UBUS_STATUS_PARSE_ERROR] = "Parsing message data failed",
    [UBUS_STATUS_SYSTEM_ERROR] = "System error",
};

const char *ubus_strerror(int error)
{
    static char unknown[32];
    if (error >= 0 && error < __UBUS_STATUS_LAST) return status_texts[error];
    snprintf(unknown, sizeof(unknown), "Unknown error: %d", error);
    return unknown;
}

void ubus_begin(void)
{
    blob_buf_init(&ubus_out, 0);
}

bool ubus_put_data(const struct blob_attr *msg)
{
    const unsigned int len = msg != NULL ? (unsigned int)blob_len(msg) : 0;
    return blob_put(&ubus_out, UBUS_ATTR_DATA, msg != NULL ? blob_data(msg) : NULL, len) != NULL;
}

bool ubus_send(struct ubus_context *ctx, int type, uint16_t seq, uint32_t peer)
{
    const struct ubus_msghdr hdr = {
        .type = (uint8_t)type, .seq = htobe16(seq), .peer = htobe32(peer)};
    const size_t total = sizeof(hdr) + blob_raw_len(ubus_out.head);
    for (size_t done = 0; done < total;) {
        const ssize_t sent = ubus_send_part(ctx->sock.fd, &hdr, ubus_out.head, done);
        if (sent < 0) {
            ctx->sock.eof = true;
            return false;
        }
        if (sent == 0) ubus_wait_fd(ctx->sock.fd, POLLOUT, -1);
        done += (size_t)sent;
    }
    return true;
}

/* A message once begun is read to its end. */
static enum ubus_read next_message(struct ubus_context *ctx, struct ubus_msg **msg)
{
    struct ubus_reader reader = {.got = 0};
    enum ubus_read result = ubus_reader_next(&reader, ctx->sock.fd, msg);
    while (result == UBUS_READ_AGAIN && reader.got > 0) {
        ubus_wait_fd(ctx->sock.fd, POLLIN, -1);
        result = ubus_reader_next(&reader, ctx->sock.fd, msg);
    }
    free(reader.msg);
    return result;
}

bool ubus_receive(struct ubus_context *ctx)
{
    struct ubus_msg *msg = NULL;
    switch (next_message(ctx, &msg)) {
        case UBUS_READ_AGAIN:
            return false;
        case UBUS_READ_END:
            ctx->sock.eof = true;
            return false;
        case UBUS_READ_INVALID:
            return true;
        case UBUS_READ_MESSAGE:
            break;
    }
    const bool queued = msg->hdr.type == UBUS_MSG_INVOKE || msg->hdr.type == UBUS_MSG_NOTIFY ||
                        msg->hdr.type == UBUS_MSG_UNSUBSCRIBE;
    if (msg->hdr.version == 0 && queued) {
        list_add_tail(&msg->list, &ctx->pending);
        return true;
    }
    if (msg->hdr.version == 0 && msg->hdr.type != UBUS_MSG_MONITOR)
        ubus_answer(ctx, msg);
    else if (msg->hdr.version == 0 && ctx->monitor_cb != NULL)
        ctx->monitor_cb(ctx, be16toh(msg->hdr.seq), ubus_msg_body(msg));
    free(msg);
    return true;
}

void ubus_drain(struct ubus_context *ctx)
{
    while (ctx->stack_depth == 0 && !list_empty(&ctx->pending) && !uloop_cancelling()) {
        struct ubus_msg *msg = list_first_entry(&ctx->pending, struct ubus_msg, list);
        list_del(&msg->list);
        ctx->stack_depth++;
        ubus_dispatch(ctx, msg);
        ctx->stack_depth--;
        free(msg);
    }
}

void ubus_report_loss(struct ubus_context *ctx)
{
    if (!ctx->sock.eof || ctx->lost || ctx->stack_depth > 0) return;
    ctx->lost = true;
    ctx->connection_lost(ctx);
}

static void on_socket(struct uloop_fd *sock, unsigned int events)
{
    struct ubus_context *ctx = container_of(sock, struct ubus_context, sock);
    (void)events;
    if (ctx->lost) { /* nobody has ended the loop: no reason to spin in it */
        uloop_fd_delete(sock);
        return;
    }
    do
        ubus_drain(ctx);
    while (!uloop_cancelling() && ubus_receive(ctx));
    ubus_report_loss(ctx);
}

static void on_pending(struct uloop_timeout *timer)
{
    struct ubus_context *ctx = container_of(timer, struct ubus_context, pending_timer);
    ubus_drain(ctx);
    ubus_report_loss(ctx);
}

static void end_loop(struct ubus_context *ctx)
{
    if (ctx->sock.registered) uloop_end();
}

static int open_socket(const char *path)
{
    struct sockaddr_un address = {.sun_family = AF_UNIX};
    if (path == NULL) path = UBUS_UNIX_SOCKET;
    if (strlen(path) >= sizeof(address.sun_path)) return -1;
    memcpy(address.sun_path, path, strlen(path) + 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd >= 0 && connect(fd, (const struct sockaddr *)&address, sizeof(address)) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

/* The broker greets with our client id, in one piece; 0 when it does not. In wire order. */
static uint32_t read_hello(int fd)
{
    struct {
        struct ubus_msghdr hdr;
        uint32_t id_len;
    } hello;
    char body[256];
    if (read(fd, &hello, sizeof(hello)) != (ssize_t)sizeof(hello)) return 0;
    const size_t raw = blob_raw_len((const struct blob_attr *)&hello.id_len);
    if (hello.hdr.version != 0 || hello.hdr.type != UBUS_MSG_HELLO || raw < sizeof(hello.id_len) ||
        raw > sizeof(body))
        return 0;
    const size_t rest = raw - sizeof(hello.id_len);
    if (rest > 0 && read(fd, body, rest) != (ssize_t)rest) return 0;
    return hello.hdr.peer;
}

struct ubus_context *ubus_connect(const char *path)
{
    if (uloop_init() != 0) return NULL;
    const int fd = open_socket(path);
    if (fd < 0) return NULL;
    const uint32_t id = read_hello(fd);
    struct ubus_context *ctx = id != 0 ? calloc(1, sizeof(*ctx)) : NULL;
    if (ctx == NULL) {
        close(fd);
        return NULL;
    }
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL, 0) | O_NONBLOCK);
    INIT_LIST_HEAD(&ctx->requests);
    INIT_LIST_HEAD(&ctx->pending);
    INIT_LIST_HEAD(&ctx->objects.list_head);
    ctx->local_id = id;
    ctx->sock.fd = fd;
    ctx->sock.cb = on_socket;
    ctx->pending_timer.cb = on_pending;
    ctx->connection_lost = end_loop;
    return ctx;
}

void ubus_free(struct ubus_context *ctx)
{
    struct ubus_msg *msg;
    struct ubus_msg *following;
    list_for_each_entry_safe(msg, following, &ctx->pending, list)
    {
        free(msg);
    }
    uloop_timeout_cancel(&ctx->pending_timer);
    uloop_fd_delete(&ctx->sock);
    close(ctx->sock.fd);
    free(ctx);
}
