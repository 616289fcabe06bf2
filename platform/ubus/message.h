// SPDX-License-Identifier: ISC
/*
 * Messages as they come from a socket: the one reader and the one parser of bytes that nobody has
 * checked yet, for client library and broker.
 */
#ifndef UBUS_MESSAGE_H
#define UBUS_MESSAGE_H

#include <sys/types.h>
#include <ubusmsg.h>

#include <libubox/blob.h>
#include <libubox/list.h>

/* On the heap; freed with free(). Header and body stand next to each other, as on the wire. */
struct ubus_msg {
    struct list_head list;
    struct ubus_msghdr hdr;
    uint32_t words[]; /* the body */
};

static inline struct blob_attr *ubus_msg_body(struct ubus_msg *msg)
{
    return (struct blob_attr *)msg->words;
}

/* Octets of header and of the body's first word: what must be known before the rest is read. */
#define UBUS_MSG_HEAD (sizeof(struct ubus_msghdr) + sizeof(struct blob_attr))

/* Zeroed at first; it keeps a message that has come in part. */
struct ubus_reader {
    struct {
        struct ubus_msghdr hdr;
        uint32_t id_len;
    } head;
    size_t got; /* octets of the current message */
    struct ubus_msg *msg;
};

enum ubus_read {
    UBUS_READ_AGAIN,   /* nothing more to read now */
    UBUS_READ_MESSAGE, /* `*msg` is complete and the caller's */
    UBUS_READ_INVALID, /* impossible length, or no memory: the first 12 octets are lost */
    UBUS_READ_END      /* end of file or error */
};

/* Reads from the non-blocking `fd` up to the end of one message. */
enum ubus_read ubus_reader_next(struct ubus_reader *reader, int fd, struct ubus_msg **msg);

/* `attrs` has UBUS_ATTR_MAX slots; absent and unsound attributes are null. */
void ubus_msg_parse(struct ubus_msg *msg, struct blob_attr **attrs);

/* 1 when `fd` has one of `events` or has failed, 0 after `timeout` ms (-1: none) or a signal. */
int ubus_wait_fd(int fd, short events, int timeout);

/* One try to send what follows the first `offset` octets of a message; octets sent, 0 when there
 * is no room now, -1 on failure. */
ssize_t ubus_send_part(int fd,
                       const struct ubus_msghdr *hdr,
                       const struct blob_attr *body,
                       size_t offset);

#endif
