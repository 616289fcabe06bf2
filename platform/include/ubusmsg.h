// SPDX-License-Identifier: ISC
/*
 * The bus on the wire: header, message types, attributes, status codes.
 */
#ifndef UBUSMSG_H
#define UBUSMSG_H

#include <stdint.h>

#include <libubox/blob.h>

/* Octets of a body, padding included. */
#define UBUS_MAX_MSGLEN 1048576

/* Ids below this one belong to the broker. */
#define UBUS_CLIENT_ID_MIN 1024U

/* The broker's own objects. */
#define UBUS_SYSTEM_OBJECT_EVENT 1
#define UBUS_SYSTEM_OBJECT_MONITOR 3

/* Followed by one plain attribute of id 0 that holds the attributes of the message. */
struct ubus_msghdr {
    uint8_t version;
    uint8_t type;
    uint16_t seq;  /* big-endian, chosen by the requester */
    uint32_t peer; /* big-endian */
} __packed;

enum ubus_msg_type {
    UBUS_MSG_HELLO,
    UBUS_MSG_STATUS,
    UBUS_MSG_DATA,
    UBUS_MSG_PING,
    UBUS_MSG_LOOKUP,
    UBUS_MSG_INVOKE,
    UBUS_MSG_ADD_OBJECT,
    UBUS_MSG_REMOVE_OBJECT,
    UBUS_MSG_SUBSCRIBE,
    UBUS_MSG_UNSUBSCRIBE,
    UBUS_MSG_NOTIFY,
    UBUS_MSG_MONITOR,
    __UBUS_MSG_LAST
};

enum ubus_msg_attr {
    UBUS_ATTR_UNSPEC,
    UBUS_ATTR_STATUS,
    UBUS_ATTR_OBJPATH,
    UBUS_ATTR_OBJID,
    UBUS_ATTR_METHOD,
    UBUS_ATTR_OBJTYPE,
    UBUS_ATTR_SIGNATURE,
    UBUS_ATTR_DATA,
    UBUS_ATTR_TARGET,
    UBUS_ATTR_ACTIVE,
    UBUS_ATTR_NO_REPLY,
    UBUS_ATTR_SUBSCRIBERS,
    UBUS_ATTR_USER,
    UBUS_ATTR_GROUP,
    UBUS_ATTR_MAX
};

/* Of a MONITOR message: what has passed between the broker and one of its clients. */
enum ubus_monitor_attr {
    UBUS_MONITOR_UNSPEC,
    UBUS_MONITOR_CLIENT, /* id */
    UBUS_MONITOR_PEER,
    UBUS_MONITOR_SEND, /* by the broker */
    UBUS_MONITOR_SEQ,
    UBUS_MONITOR_TYPE,
    UBUS_MONITOR_DATA, /* the attributes */
    __UBUS_MONITOR_MAX,
    UBUS_MONITOR_MAX = __UBUS_MONITOR_MAX - 1
};

enum ubus_msg_status {
    UBUS_STATUS_OK,
    UBUS_STATUS_INVALID_COMMAND,
    UBUS_STATUS_INVALID_ARGUMENT,
    UBUS_STATUS_METHOD_NOT_FOUND,
    UBUS_STATUS_NOT_FOUND,
    UBUS_STATUS_NO_DATA,
    UBUS_STATUS_PERMISSION_DENIED,
    UBUS_STATUS_TIMEOUT,
    UBUS_STATUS_NOT_SUPPORTED,
    UBUS_STATUS_UNKNOWN_ERROR,
    UBUS_STATUS_CONNECTION_FAILED,
    UBUS_STATUS_NO_MEMORY,
    UBUS_STATUS_PARSE_ERROR,
    UBUS_STATUS_SYSTEM_ERROR,
    __UBUS_STATUS_LAST
};

#endif
