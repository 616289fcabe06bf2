// SPDX-License-Identifier: ISC
/*
 * Reading, parsing and sending of bus messages.
 */
#include "message.h"

#include <errno.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

static const struct blob_attr_info attr_info[UBUS_ATTR_MAX] = {
    [UBUS_ATTR_STATUS] = {.type = BLOB_ATTR_INT32},
    [UBUS_ATTR_OBJPATH] = {.type = BLOB_ATTR_STRING},
    [UBUS_ATTR_OBJID] = {.type = BLOB_ATTR_INT32},
    [UBUS_ATTR_METHOD] = {.type = BLOB_ATTR_STRING},
    [UBUS_ATTR_OBJTYPE] = {.type = BLOB_ATTR_INT32},
    [UBUS_ATTR_SIGNATURE] = {.type = BLOB_ATTR_NESTED},
    [UBUS_ATTR_DATA] = {.type = BLOB_ATTR_NESTED},
    [UBUS_ATTR_TARGET] = {.type = BLOB_ATTR_INT32},
    [UBUS_ATTR_ACTIVE] = {.type = BLOB_ATTR_INT8},
    [UBUS_ATTR_NO_REPLY] = {.type = BLOB_ATTR_INT8},
    [UBUS_ATTR_SUBSCRIBERS] = {.type = BLOB_ATTR_NESTED},
    [UBUS_ATTR_USER] = {.type = BLOB_ATTR_STRING},
    [UBUS_ATTR_GROUP] = {.type = BLOB_ATTR_STRING},
};

void ubus_msg_parse(struct ubus_msg *msg, struct blob_attr **attrs)
{
    struct blob_attr *body = ubus_msg_body(msg);
    blob_parse_untrusted(body, blob_raw_len(body), attrs, attr_info, UBUS_ATTR_MAX);
}

/* The head is complete: memory for the whole message, or null when its length is impossible. */
static struct ubus_msg *begin(const struct ubus_reader *reader)
{
    const struct blob_attr *body = (const struct blob_attr *)&reader->head.id_len;
    if (blob_raw_len(body) < sizeof(*body) || blob_pad_len(body) > UBUS_MAX_MSGLEN) return NULL;
    struct ubus_msg *msg = malloc(sizeof(*msg) + blob_pad_len(body));
    if (msg != NULL) {
        msg->hdr = reader->head.hdr;
        msg->words[0] = reader->head.id_len;
    }
    return msg;
}

enum ubus_read ubus_reader_next(struct ubus_reader *reader, int fd, struct ubus_msg **msg)
{
    for (;;) {
        char *place = (char *)&reader->head;
        size_t total = UBUS_MSG_HEAD;
        if (reader->msg != NULL) {
            place = (char *)reader->msg + offsetof(struct ubus_msg, hdr);
            total = sizeof(struct ubus_msghdr) + blob_raw_len(ubus_msg_body(reader->msg));
        }
        if (reader->got < total) {
            const ssize_t count = read(fd, place + reader->got, total - reader->got);
            if (count < 0 && errno == EINTR) continue;
            if (count < 0 && errno == EAGAIN) return UBUS_READ_AGAIN;
            if (count <= 0) return UBUS_READ_END;
            reader->got += (size_t)count;
        } else if (reader->msg == NULL) {
            reader->msg = begin(reader);
            if (reader->msg == NULL) {
                reader->got = 0;
                return UBUS_READ_INVALID;
            }
        } else {
            *msg = reader->msg;
            reader->msg = NULL;
            reader->got = 0;
            return UBUS_READ_MESSAGE;
        }
    }
}

int ubus_wait_fd(int fd, short events, int timeout)
{
    struct pollfd wait = {.fd = fd, .events = events};
    return poll(&wait, 1, timeout) > 0 ? 1 : 0;
}

ssize_t ubus_send_part(int fd,
                       const struct ubus_msghdr *hdr,
                       const struct blob_attr *body,
                       size_t offset)
{
    struct iovec parts[2] = {
        {.iov_base = (void *)hdr, .iov_len = sizeof(*hdr)},
        {.iov_base = (void *)body, .iov_len = blob_raw_len(body)},
    };
    for (size_t i = 0; i < ARRAY_SIZE(parts); i++) {
        const size_t skip = offset < parts[i].iov_len ? offset : parts[i].iov_len;
        parts[i].iov_base = (char *)parts[i].iov_base + skip;
        parts[i].iov_len -= skip;
        offset -= skip;
    }
    const struct msghdr envelope = {.msg_iov = parts, .msg_iovlen = ARRAY_SIZE(parts)};
    const ssize_t sent = sendmsg(fd, &envelope, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && (errno == EAGAIN || errno == EINTR || errno == ENOBUFS)) return 0;
    return sent;
}
