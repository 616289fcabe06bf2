// SPDX-License-Identifier: ISC
/*
 * Command line client: JSON as messages.
 */
#include <json-c/json.h>

#include "tool.h"

static bool add_value(struct blob_buf *buf, const char *name, struct json_object *value);

static bool add_table(struct blob_buf *buf, struct json_object *object)
{
    struct json_object_iterator at = json_object_iter_begin(object);
    const struct json_object_iterator end = json_object_iter_end(object);
    for (; !json_object_iter_equal(&at, &end); json_object_iter_next(&at)) {
        if (!add_value(buf, json_object_iter_peek_name(&at), json_object_iter_peek_value(&at)))
            return false;
    }
    return true;
}

static bool add_array(struct blob_buf *buf, struct json_object *array)
{
    for (size_t i = 0; i < json_object_array_length(array); i++) {
        if (!add_value(buf, NULL, json_object_array_get_idx(array, i))) return false;
    }
    return true;
}

static bool add_integer(struct blob_buf *buf, const char *name, int64_t value)
{
    if (value >= INT32_MIN && value <= INT32_MAX)
        return blobmsg_add_u32(buf, name, (uint32_t)value) == 0;
    return blobmsg_add_u64(buf, name, (uint64_t)value) == 0;
}

static bool add_container(struct blob_buf *buf, const char *name, struct json_object *value)
{
    const bool array = json_object_is_type(value, json_type_array);
    void *cookie = blobmsg_open_nested(buf, name, array);
    if (cookie == NULL || !(array ? add_array(buf, value) : add_table(buf, value))) return false;
    blob_nest_end(buf, cookie);
    return true;
}

static bool add_value(struct blob_buf *buf, const char *name, struct json_object *value)
{
    switch (json_object_get_type(value)) {
        case json_type_boolean:
            return blobmsg_add_u8(buf, name, json_object_get_boolean(value) != 0) == 0;
        case json_type_int:
            return add_integer(buf, name, json_object_get_int64(value));
        case json_type_double:
            return blobmsg_add_double(buf, name, json_object_get_double(value)) == 0;
        case json_type_string:
            return blobmsg_add_string(buf, name, json_object_get_string(value)) == 0;
        case json_type_object:
        case json_type_array:
            return add_container(buf, name, value);
        case json_type_null:
            break;
    }
    return blobmsg_add_field(buf, BLOBMSG_TYPE_UNSPEC, name, NULL, 0) == 0;
}

bool tool_scan(struct blob_buf *buf, const char *text)
{
    struct json_object *root = json_tokener_parse(text);
    const bool added = json_object_is_type(root, json_type_object) && add_table(buf, root);
    json_object_put(root);
    return added;
}
