// SPDX-License-Identifier: ISC
/*
 * Attribute buffers and the parser of plain attributes.
 */
#include <errno.h>
#include <stdlib.h>

#include <libubox/blob.h>

#define GROWTH 256U
#define COOKIE_BASE 1U /* keeps the cookie of offset 0 from being null */

static void set_raw_len(struct blob_attr *attr, size_t len)
{
    const uint32_t word = be32toh(attr->id_len) & ~BLOB_ATTR_LEN_MASK;
    attr->id_len = htobe32(word | (uint32_t)len);
}

static bool grow_by_default(struct blob_buf *buf, int minlen)
{
    const size_t size = ((size_t)buf->buflen + (size_t)minlen + GROWTH - 1) / GROWTH * GROWTH;
    void *bytes = realloc(buf->buf, size);
    if (bytes == NULL) return false;
    buf->buf = bytes;
    buf->buflen = (int)size;
    return true;
}

static size_t offset_of(const struct blob_buf *buf, const struct blob_attr *attr)
{
    return (size_t)((const char *)attr - (const char *)buf->buf);
}

static struct blob_attr *attr_at(const struct blob_buf *buf, size_t offset)
{
    return (struct blob_attr *)((char *)buf->buf + offset);
}

/* Room for an attribute at `offset`; `head` follows the buffer when it moves. */
static struct blob_attr *place(struct blob_buf *buf, size_t offset, int id, unsigned int len)
{
    const size_t room = BLOB_ATTR_LEN_MASK & ~(size_t)(BLOB_ATTR_ALIGN - 1U);
    if (offset > room || len > room || offset + sizeof(struct blob_attr) + len > room) return NULL;
    const size_t raw = sizeof(struct blob_attr) + len;
    const size_t padded = (raw + BLOB_ATTR_ALIGN - 1) & ~(size_t)(BLOB_ATTR_ALIGN - 1U);
    if (offset + padded > (size_t)buf->buflen) {
        const size_t head = buf->head != NULL ? offset_of(buf, buf->head) : 0;
        if (!buf->grow(buf, (int)(offset + padded - (size_t)buf->buflen))) return NULL;
        buf->head = attr_at(buf, head);
    }
    struct blob_attr *attr = attr_at(buf, offset);
    attr->id_len = htobe32(((uint32_t)id << BLOB_ATTR_ID_SHIFT) & BLOB_ATTR_ID_MASK);
    set_raw_len(attr, raw);
    memset((char *)attr + raw, 0, padded - raw);
    return attr;
}

int blob_buf_init(struct blob_buf *buf, int id)
{
    if (buf->grow == NULL) buf->grow = grow_by_default;
    buf->head = buf->buf;
    return place(buf, 0, id, 0) != NULL ? 0 : -ENOMEM;
}

void blob_buf_free(struct blob_buf *buf)
{
    free(buf->buf);
    buf->buf = NULL;
    buf->buflen = 0;
    buf->head = NULL;
}

struct blob_attr *blob_put(struct blob_buf *buf, int id, const void *ptr, unsigned int len)
{
    const size_t end = offset_of(buf, blob_next(buf->head));
    struct blob_attr *attr = place(buf, end, id, len);
    if (attr == NULL) return NULL;
    if (ptr != NULL && len > 0) memcpy(attr->data, ptr, len);
    set_raw_len(buf->head, blob_pad_len(buf->head) + blob_pad_len(attr));
    return attr;
}

void *blob_nest_enter(struct blob_buf *buf, struct blob_attr *attr)
{
    const size_t cookie = offset_of(buf, buf->head) + COOKIE_BASE;
    /* The outer length takes the inner one in when that is known: at the end. */
    set_raw_len(buf->head, blob_pad_len(buf->head) - blob_pad_len(attr));
    buf->head = attr;
    return (void *)cookie;
}

void *blob_nest_start(struct blob_buf *buf, int id)
{
    struct blob_attr *attr = blob_put(buf, id, NULL, 0);
    return attr != NULL ? blob_nest_enter(buf, attr) : NULL;
}

void blob_nest_end(struct blob_buf *buf, void *cookie)
{
    if (cookie == NULL) return;
    struct blob_attr *outer = attr_at(buf, (size_t)cookie - COOKIE_BASE);
    set_raw_len(outer, blob_pad_len(outer) + blob_pad_len(buf->head));
    buf->head = outer;
}

bool blob_check_type(const void *ptr, unsigned int len, int type)
{
    switch (type) {
        case BLOB_ATTR_STRING:
            return len >= 1 && ((const char *)ptr)[len - 1] == '\0';
        case BLOB_ATTR_INT8:
            return len == 1;
        case BLOB_ATTR_INT16:
            return len == 2;
        case BLOB_ATTR_INT32:
            return len == 4;
        case BLOB_ATTR_INT64:
            return len == 8;
        case BLOB_ATTR_DOUBLE:
            return len >= 8;
        default:
            return type >= 0 && type < BLOB_ATTR_LAST;
    }
}

static bool suits(const struct blob_attr *attr, const struct blob_attr_info *info)
{
    const unsigned int len = (unsigned int)blob_len(attr);
    if (info == NULL) return true;
    return blob_check_type(attr->data, len, (int)info->type) && len >= info->minlen &&
           (info->maxlen == 0 || len <= info->maxlen);
}

int blob_parse_untrusted(struct blob_attr *attr,
                         size_t attr_len,
                         struct blob_attr **data,
                         const struct blob_attr_info *info,
                         int max)
{
    int found = 0;
    memset(data, 0, sizeof(*data) * (size_t)max);
    if (attr == NULL || attr_len < sizeof(*attr) || blob_raw_len(attr) < sizeof(*attr) ||
        blob_raw_len(attr) > attr_len)
        return 0;
    struct blob_attr *pos;
    size_t rem;
    blob_for_each_attr(pos, attr, rem)
    {
        const unsigned int id = blob_id(pos);
        if (id < (unsigned int)max && !blob_is_extended(pos) &&
            suits(pos, info != NULL ? &info[id] : NULL))
            data[id] = pos;
        found++;
    }
    return found;
}
