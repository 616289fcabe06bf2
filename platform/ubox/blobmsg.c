// SPDX-License-Identifier: ISC
/*
 * Named attributes: checking, parsing, building.
 */
#include <errno.h>

#include <libubox/blobmsg.h>

/* The plain type whose payload check the named type shares; UNSPEC: none. */
static const int payload_types[] = {
    BLOB_ATTR_UNSPEC, /* UNSPEC */
    BLOB_ATTR_UNSPEC, /* ARRAY */
    BLOB_ATTR_UNSPEC, /* TABLE */
    BLOB_ATTR_STRING, BLOB_ATTR_INT64, BLOB_ATTR_INT32,
    BLOB_ATTR_INT16,  BLOB_ATTR_INT8,  BLOB_ATTR_DOUBLE,
};

static bool check_name(const struct blob_attr *attr, bool name)
{
    if (!blob_is_extended(attr)) return !name;
    if (blobmsg_hdr_of(attr, blob_len(attr)) == SIZE_MAX) return false;
    const struct blobmsg_hdr *hdr = (const struct blobmsg_hdr *)blob_data(attr);
    const uint16_t namelen = blobmsg_namelen(hdr);
    return hdr->name[namelen] == '\0' && (!name || namelen > 0);
}

bool blobmsg_check_attr_len(const struct blob_attr *attr, bool name, size_t len)
{
    if (attr == NULL || len < sizeof(*attr) || blob_raw_len(attr) < sizeof(*attr) ||
        blob_raw_len(attr) > len)
        return false;
    if (!check_name(attr, name) || blobmsg_type(attr) > BLOBMSG_TYPE_LAST) return false;
    return blob_check_type(blobmsg_data(attr), (unsigned int)blobmsg_data_len(attr),
                           payload_types[blobmsg_type(attr)]);
}

bool blobmsg_check_attr(const struct blob_attr *attr, bool name)
{
    return blobmsg_check_attr_len(attr, name, attr != NULL ? blob_raw_len(attr) : 0);
}

static bool type_matches(enum blobmsg_type wanted, int type)
{
    if (wanted == BLOBMSG_CAST_INT64)
        return type >= BLOBMSG_TYPE_INT64 && type <= BLOBMSG_TYPE_INT8;
    return wanted == BLOBMSG_TYPE_UNSPEC || (int)wanted == type;
}

static bool policy_matches(const struct blobmsg_policy *policy, const struct blob_attr *attr)
{
    if (policy->name == NULL || !type_matches(policy->type, blobmsg_type(attr))) return false;
    const struct blobmsg_hdr *hdr = (const struct blobmsg_hdr *)blob_data(attr);
    const size_t namelen = blobmsg_namelen(hdr);
    return strlen(policy->name) == namelen && memcmp(policy->name, hdr->name, namelen) == 0;
}

int blobmsg_parse(const struct blobmsg_policy *policy,
                  int policy_len,
                  struct blob_attr **tb,
                  void *data,
                  unsigned int len)
{
    for (int i = 0; i < policy_len; i++)
        tb[i] = NULL;
    if (data == NULL || len == 0) return -EINVAL;

    struct blob_attr *attr = data;
    size_t rem = len;
    while (rem >= sizeof(*attr) && blob_pad_len(attr) <= rem) {
        if (!blobmsg_check_attr_len(attr, false, rem)) return -1;
        for (int i = 0; blob_is_extended(attr) && i < policy_len; i++) {
            if (tb[i] == NULL && policy_matches(&policy[i], attr)) tb[i] = attr;
        }
        rem -= blob_pad_len(attr);
        attr = blob_next(attr);
    }
    return 0;
}

/* Appends a named attribute whose data, `len` octets, is not set yet. */
static struct blob_attr *put_named(struct blob_buf *buf,
                                   int type,
                                   const char *name,
                                   unsigned int len)
{
    const size_t namelen = name != NULL ? strlen(name) : 0;
    if (namelen > UINT16_MAX || len > BLOB_ATTR_LEN_MASK) return NULL;
    const size_t header = blobmsg_hdrlen((unsigned int)namelen);
    struct blob_attr *attr = blob_put(buf, type, NULL, (unsigned int)header + len);
    if (attr == NULL) return NULL;
    attr->id_len |= htobe32(BLOB_ATTR_EXTENDED);
    struct blobmsg_hdr *hdr = blob_data(attr);
    memset(hdr, 0, header);
    hdr->namelen = htobe16((uint16_t)namelen);
    if (namelen > 0) memcpy(hdr->name, name, namelen);
    return attr;
}

int blobmsg_add_field(
    struct blob_buf *buf, int type, const char *name, const void *data, unsigned int len)
{
    struct blob_attr *attr = put_named(buf, type, name, len);
    if (attr == NULL) return -1;
    if (len > 0) memcpy(blobmsg_data(attr), data, len);
    return 0;
}

void *blobmsg_open_nested(struct blob_buf *buf, const char *name, bool array)
{
    struct blob_attr *attr =
        put_named(buf, array ? BLOBMSG_TYPE_ARRAY : BLOBMSG_TYPE_TABLE, name, 0);
    return attr != NULL ? blob_nest_enter(buf, attr) : NULL;
}
