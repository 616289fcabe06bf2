// SPDX-License-Identifier: ISC
/*
 * Binary attributes: a big-endian word of flags, id and length, payload, padding to four bytes.
 */
#ifndef LIBUBOX_BLOB_H
#define LIBUBOX_BLOB_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "utils.h"

enum {
    BLOB_ATTR_UNSPEC,
    BLOB_ATTR_NESTED,
    BLOB_ATTR_BINARY,
    BLOB_ATTR_STRING,
    BLOB_ATTR_INT8,
    BLOB_ATTR_INT16,
    BLOB_ATTR_INT32,
    BLOB_ATTR_INT64,
    BLOB_ATTR_DOUBLE,
    BLOB_ATTR_LAST
};

#define BLOB_ATTR_ID_MASK 0x7f000000U
#define BLOB_ATTR_ID_SHIFT 24
#define BLOB_ATTR_LEN_MASK 0x00ffffffU
#define BLOB_ATTR_ALIGN 4U
#define BLOB_ATTR_EXTENDED 0x80000000U

struct blob_attr {
    uint32_t id_len;
    char data[];
};

struct blob_attr_info {
    unsigned int type;
    unsigned int minlen;
    unsigned int maxlen;
};

struct blob_buf {
    struct blob_attr *head; /* the open container */
    bool (*grow)(struct blob_buf *buf, int minlen);
    int buflen;
    void *buf;
};

static inline unsigned int blob_id(const struct blob_attr *attr)
{
    return (be32toh(attr->id_len) & BLOB_ATTR_ID_MASK) >> BLOB_ATTR_ID_SHIFT;
}

static inline bool blob_is_extended(const struct blob_attr *attr)
{
    return (be32toh(attr->id_len) & BLOB_ATTR_EXTENDED) != 0;
}

static inline size_t blob_raw_len(const struct blob_attr *attr)
{
    return be32toh(attr->id_len) & BLOB_ATTR_LEN_MASK;
}

/* Wraps when the raw length is below 4: validate first. */
static inline size_t blob_len(const struct blob_attr *attr)
{
    return blob_raw_len(attr) - sizeof(struct blob_attr);
}

static inline size_t blob_pad_len(const struct blob_attr *attr)
{
    return (blob_raw_len(attr) + BLOB_ATTR_ALIGN - 1U) & ~(size_t)(BLOB_ATTR_ALIGN - 1U);
}

static inline void *blob_data(const struct blob_attr *attr)
{
    return (void *)attr->data;
}

static inline struct blob_attr *blob_next(const struct blob_attr *attr)
{
    return (struct blob_attr *)((char *)attr + blob_pad_len(attr));
}

/* True when a whole attribute stands at `attr`, of which `rem` bytes may be looked at. */
static inline bool blob_fits(const struct blob_attr *attr, size_t rem)
{
    return rem >= sizeof(struct blob_attr) && blob_raw_len(attr) >= sizeof(struct blob_attr) &&
           blob_pad_len(attr) <= rem;
}

static inline uint8_t blob_get_u8(const struct blob_attr *attr)
{
    return (uint8_t)attr->data[0];
}

static inline uint32_t blob_get_u32(const struct blob_attr *attr)
{
    uint32_t value;
    memcpy(&value, attr->data, sizeof(value));
    return be32toh(value);
}

static inline int32_t blob_get_int32(const struct blob_attr *attr)
{
    return (int32_t)blob_get_u32(attr);
}

static inline const char *blob_get_string(const struct blob_attr *attr)
{
    return attr->data;
}

/* Starts over with one empty attribute; 0 or -ENOMEM. */
int blob_buf_init(struct blob_buf *buf, int id);
void blob_buf_free(struct blob_buf *buf);

/* Appends an attribute; a null pointer leaves its data as is. Null on failure, content unchanged.
 * Any addition may move the buffer. */
struct blob_attr *blob_put(struct blob_buf *buf, int id, const void *ptr, unsigned int len);
void *blob_nest_start(struct blob_buf *buf, int id);
void blob_nest_end(struct blob_buf *buf, void *cookie);

/* Makes `attr`, the attribute appended last, the open container. */
void *blob_nest_enter(struct blob_buf *buf, struct blob_attr *attr);

/* True when the payload suits the plain type `type`. */
bool blob_check_type(const void *ptr, unsigned int len, int type);

/* Sorts the attributes of at most `attr_len` bytes at `attr` (a container) by id into data[0..max):
 * unknown ids and values of wrong type or size are skipped, the last of equal ids wins. Gives the
 * number of attributes that fit. */
int blob_parse_untrusted(struct blob_attr *attr,
                         size_t attr_len,
                         struct blob_attr **data,
                         const struct blob_attr_info *info,
                         int max);

static inline struct blob_attr *blob_put_string(struct blob_buf *buf, int id, const char *str)
{
    return blob_put(buf, id, str, (unsigned int)strlen(str) + 1U);
}

static inline struct blob_attr *blob_put_u8(struct blob_buf *buf, int id, uint8_t val)
{
    return blob_put(buf, id, &val, sizeof(val));
}

static inline struct blob_attr *blob_put_u32(struct blob_buf *buf, int id, uint32_t val)
{
    val = htobe32(val);
    return blob_put(buf, id, &val, sizeof(val));
}

#define blob_for_each_attr(pos, attr, rem)                             \
    for ((rem) = (attr) ? blob_len(attr) : 0,                          \
        (pos) = (struct blob_attr *)((attr) ? blob_data(attr) : NULL); \
         blob_fits(pos, rem); (rem) -= blob_pad_len(pos), (pos) = blob_next(pos))

#endif
