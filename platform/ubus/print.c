// SPDX-License-Identifier: ISC
/*
 * Command line client: messages as JSON.
 */
#include <inttypes.h>
#include <stdio.h>

#include "tool.h"

#define DEPTH_MAX 128 /* containers within containers; deeper ones are shown empty */
#define TABS_MAX 16

static const char *const type_words[BLOBMSG_TYPE_LAST + 1] = {
    [BLOBMSG_TYPE_ARRAY] = "\"Array\"",   [BLOBMSG_TYPE_TABLE] = "\"Table\"",
    [BLOBMSG_TYPE_STRING] = "\"String\"", [BLOBMSG_TYPE_INT32] = "\"Integer\"",
    [BLOBMSG_TYPE_INT8] = "\"Boolean\"",
};

static void print_line(enum tool_style style, int level)
{
    if (style != TOOL_INDENTED) return;
    putchar('\n');
    for (int i = 0; i < level && i < TABS_MAX; i++)
        putchar('\t');
}

/* Octets beyond ASCII pass as they are. */
static void print_text(const char *text)
{
    static const char escaped[] = "\"\\\b\n\t\r";
    static const char letters[] = "\"\\bntr";
    putchar('"');
    for (; *text != '\0'; text++) {
        const char *special = strchr(escaped, *text);
        if (special != NULL)
            printf("\\%c", letters[special - escaped]);
        else if ((unsigned char)*text < 0x20)
            printf("\\u%04x", (unsigned int)(unsigned char)*text);
        else
            putchar(*text);
    }
    putchar('"');
}

static void print_type(const struct blob_attr *attr)
{
    const char *word = NULL;
    if (blobmsg_type(attr) == BLOBMSG_TYPE_INT32 && blobmsg_get_u32(attr) < ARRAY_SIZE(type_words))
        word = type_words[blobmsg_get_u32(attr)];
    fputs(word != NULL ? word : "\"(unknown)\"", stdout);
}

static void print_scalar(const struct blob_attr *attr)
{
    switch (blobmsg_type(attr)) {
        case BLOBMSG_TYPE_STRING:
            print_text(blobmsg_get_string(attr));
            break;
        case BLOBMSG_TYPE_INT64:
            printf("%" PRId64, (int64_t)blobmsg_get_u64(attr));
            break;
        case BLOBMSG_TYPE_INT32:
            printf("%" PRId32, (int32_t)blobmsg_get_u32(attr));
            break;
        case BLOBMSG_TYPE_INT16:
            printf("%" PRId16, (int16_t)blobmsg_get_u16(attr));
            break;
        case BLOBMSG_TYPE_BOOL:
            fputs(blobmsg_get_bool(attr) ? "true" : "false", stdout);
            break;
        case BLOBMSG_TYPE_DOUBLE:
            printf("%f", blobmsg_get_double(attr));
            break;
        default:
            fputs("null", stdout);
            break;
    }
}

static void print_element(const struct blob_attr *attr, enum tool_style style, int level);

static void print_children(const struct blob_attr *attr,
                           const char brackets[2],
                           enum tool_style style,
                           int level)
{
    const struct blob_attr *child;
    size_t rem;
    bool first = true;
    putchar(brackets[0]);
    print_line(style, level + 1);
    blobmsg_for_each_attr(child, attr, rem)
    {
        if (level >= DEPTH_MAX || !blobmsg_check_attr_len(child, false, rem)) continue;
        if (!first) {
            putchar(',');
            print_line(style, level + 1);
        }
        first = false;
        print_element(child, style, level + 1);
    }
    print_line(style, level);
    putchar(brackets[1]);
}

static void print_element(const struct blob_attr *attr, enum tool_style style, int level)
{
    if (blobmsg_name(attr)[0] != '\0') {
        print_text(blobmsg_name(attr));
        fputs(style == TOOL_INDENTED ? ": " : ":", stdout);
    }
    if (blobmsg_type(attr) == BLOBMSG_TYPE_TABLE)
        print_children(attr, "{}", style, level);
    else if (blobmsg_type(attr) == BLOBMSG_TYPE_ARRAY)
        print_children(attr, "[]", style, level);
    else if (style == TOOL_TYPEWORDS)
        print_type(attr);
    else
        print_scalar(attr);
}

void tool_print(const struct blob_attr *container, enum tool_style style)
{
    print_children(container, "{}", style, 0);
    putchar('\n');
}

void tool_print_told(const char *type, const struct blob_attr *message)
{
    fputs("{ ", stdout);
    print_text(type);
    fputs(": ", stdout);
    print_children(message, "{}", TOOL_COMPACT, 0);
    puts(" }");
    fflush(stdout);
}

void tool_print_method(const struct blob_attr *method)
{
    print_element(method, TOOL_TYPEWORDS, 0);
    putchar('\n');
}

static void print_attribute(const struct blob_attr *attr)
{
    static const struct {
        const char *name;
        int type;
    } known[UBUS_ATTR_MAX] = {
        [UBUS_ATTR_STATUS] = {"status", BLOB_ATTR_INT32},
        [UBUS_ATTR_OBJPATH] = {"objpath", BLOB_ATTR_STRING},
        [UBUS_ATTR_OBJID] = {"objid", BLOB_ATTR_INT32},
        [UBUS_ATTR_METHOD] = {"method", BLOB_ATTR_STRING},
        [UBUS_ATTR_OBJTYPE] = {"objtype", BLOB_ATTR_INT32},
        [UBUS_ATTR_SIGNATURE] = {"signature", BLOB_ATTR_NESTED},
        [UBUS_ATTR_DATA] = {"data", BLOB_ATTR_NESTED},
        [UBUS_ATTR_TARGET] = {"target", BLOB_ATTR_INT32},
        [UBUS_ATTR_ACTIVE] = {"active", BLOB_ATTR_INT8},
        [UBUS_ATTR_NO_REPLY] = {"no_reply", BLOB_ATTR_INT8},
        [UBUS_ATTR_USER] = {"user", BLOB_ATTR_STRING},
        [UBUS_ATTR_GROUP] = {"group", BLOB_ATTR_STRING},
    };
    const unsigned int id = blob_id(attr) < ARRAY_SIZE(known) ? blob_id(attr) : 0;
    const bool sound =
        blob_check_type(blob_data(attr), (unsigned int)blob_len(attr), known[id].type);
    printf("\"%s\":", known[id].name != NULL ? known[id].name : "other");
    if (known[id].type == BLOB_ATTR_NESTED)
        print_children(attr, "{}", TOOL_COMPACT, 0);
    else if (sound && known[id].type == BLOB_ATTR_STRING)
        print_text(blob_get_string(attr));
    else if (sound && known[id].type == BLOB_ATTR_INT32)
        printf("%" PRId32, (int32_t)blob_get_u32(attr));
    else if (sound && known[id].type == BLOB_ATTR_INT8)
        fputs(blob_get_u8(attr) != 0 ? "true" : "false", stdout);
    else
        fputs("null", stdout);
}

void tool_print_attributes(const struct blob_attr *attributes)
{
    const struct blob_attr *attr;
    size_t rem;
    char before = '{';
    blob_for_each_attr(attr, attributes, rem)
    {
        putchar(before);
        before = ',';
        print_attribute(attr);
    }
    puts(before == '{' ? "{}" : "}");
}
