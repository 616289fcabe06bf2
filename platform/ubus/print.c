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

void tool_print_method(const struct blob_attr *method)
{
    print_element(method, TOOL_TYPEWORDS, 0);
    putchar('\n');
}
