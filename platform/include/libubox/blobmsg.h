// SPDX-License-Identifier: ISC
/*
 * Named and typed attributes: what bus messages are made of.
 */
#ifndef LIBUBOX_BLOBMSG_H
#define LIBUBOX_BLOBMSG_H

#include <stdbool.h>
#include <stdint.h>

#include "blob.h"

enum blobmsg_type {
    BLOBMSG_TYPE_UNSPEC,
    BLOBMSG_TYPE_ARRAY,
    BLOBMSG_TYPE_TABLE,
    BLOBMSG_TYPE_STRING,
    BLOBMSG_TYPE_INT64,
    BLOBMSG_TYPE_INT32,
    BLOBMSG_TYPE_INT16,
    BLOBMSG_TYPE_INT8,
    BLOBMSG_TYPE_BOOL = BLOBMSG_TYPE_INT8,
    BLOBMSG_TYPE_DOUBLE,
    __BLOBMSG_TYPE_LAST,
    BLOBMSG_TYPE_LAST = __BLOBMSG_TYPE_LAST - 1,
    BLOBMSG_CAST_INT64 = __BLOBMSG_TYPE_LAST /* policies only: any integer */
};

struct blobmsg_hdr {
    uint16_t namelen; /* big-endian, without the NUL */
    uint8_t name[];
};

struct blobmsg_policy {
    const char *name;
    enum blobmsg_type type; /* UNSPEC: any */
};

/* Name header and its padding. */
static inline size_t blobmsg_hdrlen(unsigned int namelen)
{
    return (sizeof(struct blobmsg_hdr) + namelen + 1U + BLOB_ATTR_ALIGN - 1U) &
           ~(size_t)(BLOB_ATTR_ALIGN - 1U);
}

static inline uint16_t blobmsg_namelen(const struct blobmsg_hdr *hdr)
{
    return be16toh(hdr->namelen);
}

static inline const char *blobmsg_name(const struct blob_attr *attr)
{
    const struct blobmsg_hdr *hdr = (const struct blobmsg_hdr *)blob_data(attr);
    return blob_is_extended(attr) ? (const char *)hdr->name : "";
}

static inline int blobmsg_type(const struct blob_attr *attr)
{
    return (int)blob_id(attr);
}

/* Octets before the data of `attr`, whose payload has `len`; SIZE_MAX when they do not fit. */
static inline size_t blobmsg_hdr_of(const struct blob_attr *attr, size_t len)
{
    if (!blob_is_extended(attr)) return 0;
    if (len < sizeof(struct blobmsg_hdr)) return SIZE_MAX;
    const size_t header =
        blobmsg_hdrlen(blobmsg_namelen((const struct blobmsg_hdr *)blob_data(attr)));
    return header <= len ? header : SIZE_MAX;
}

/* Null for null. */
static inline void *blobmsg_data(const struct blob_attr *attr)
{
    if (attr == NULL) return NULL;
    const size_t header = blobmsg_hdr_of(attr, blob_len(attr));
    return (char *)blob_data(attr) + (header != SIZE_MAX ? header : 0);
}

/* 0 for null, and for an attribute whose name header does not fit. */
static inline size_t blobmsg_data_len(const struct blob_attr *attr)
{
    if (attr == NULL || blob_raw_len(attr) < sizeof(*attr)) return 0;
    const size_t header = blobmsg_hdr_of(attr, blob_len(attr));
    return header != SIZE_MAX ? blob_len(attr) - header : 0;
}

/* Header, type and payload are sound; with `name` the attribute must have a non-empty one. */
bool blobmsg_check_attr(const struct blob_attr *attr, bool name);
/* The same, never looking beyond `len` bytes. */
bool blobmsg_check_attr_len(const struct blob_attr *attr, bool name, size_t len);

/* Fills one slot per policy entry, the first match each. 0; -EINVAL without data; -1 at the first
 * unsound attribute, slots filled so far stay. */
int blobmsg_parse(const struct blobmsg_policy *policy,
                  int policy_len,
                  struct blob_attr **tb,
                  void *data,
                  unsigned int len);

/* Additions: 0, or -1 with the content unchanged. A null name is an empty one. */
int blobmsg_add_field(
    struct blob_buf *buf, int type, const char *name, const void *data, unsigned int len);
void *blobmsg_open_nested(struct blob_buf *buf, const char *name, bool array);

static inline int blobmsg_add_double(struct blob_buf *buf, const char *name, double val)
{
    uint64_t bits;
    memcpy(&bits, &val, sizeof(bits));
    bits = htobe64(bits);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_DOUBLE, name, &bits, sizeof(bits));
}

static inline int blobmsg_add_u8(struct blob_buf *buf, const char *name, uint8_t val)
{
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT8, name, &val, sizeof(val));
}

static inline int blobmsg_add_u32(struct blob_buf *buf, const char *name, uint32_t val)
{
    val = htobe32(val);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT32, name, &val, sizeof(val));
}

static inline int blobmsg_add_u64(struct blob_buf *buf, const char *name, uint64_t val)
{
    val = htobe64(val);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT64, name, &val, sizeof(val));
}

static inline int blobmsg_add_string(struct blob_buf *buf, const char *name, const char *string)
{
    return blobmsg_add_field(buf, BLOBMSG_TYPE_STRING, name, string,
                             (unsigned int)strlen(string) + 1U);
}

/* The cookie survives growth; null on failure. Close in reverse order. */
static inline void *blobmsg_open_array(struct blob_buf *buf, const char *name)
{
    return blobmsg_open_nested(buf, name, true);
}

static inline void *blobmsg_open_table(struct blob_buf *buf, const char *name)
{
    return blobmsg_open_nested(buf, name, false);
}

static inline void blobmsg_close_array(struct blob_buf *buf, void *cookie)
{
    blob_nest_end(buf, cookie);
}

static inline void blobmsg_close_table(struct blob_buf *buf, void *cookie)
{
    blob_nest_end(buf, cookie);
}

static inline uint8_t blobmsg_get_u8(const struct blob_attr *attr)
{
    return *(uint8_t *)blobmsg_data(attr);
}

static inline bool blobmsg_get_bool(const struct blob_attr *attr)
{
    return blobmsg_get_u8(attr) != 0;
}

static inline uint16_t blobmsg_get_u16(const struct blob_attr *attr)
{
    uint16_t value;
    memcpy(&value, blobmsg_data(attr), sizeof(value));
    return be16toh(value);
}

static inline uint32_t blobmsg_get_u32(const struct blob_attr *attr)
{
    uint32_t value;
    memcpy(&value, blobmsg_data(attr), sizeof(value));
    return be32toh(value);
}

static inline uint64_t blobmsg_get_u64(const struct blob_attr *attr)
{
    uint64_t value;
    memcpy(&value, blobmsg_data(attr), sizeof(value));
    return be64toh(value);
}

static inline double blobmsg_get_double(const struct blob_attr *attr)
{
    const uint64_t bits = blobmsg_get_u64(attr);
    double value;
    memcpy(&value, &bits, sizeof(value));
    return value;
}

/* Null for null. */
static inline char *blobmsg_get_string(const struct blob_attr *attr)
{
    return (char *)blobmsg_data(attr);
}

#define blobmsg_for_each_attr(pos, attr, rem)                                            \
    for ((rem) = blobmsg_data_len(attr), (pos) = (struct blob_attr *)blobmsg_data(attr); \
         blob_fits(pos, rem); (rem) -= blob_pad_len(pos), (pos) = blob_next(pos))

#endif
