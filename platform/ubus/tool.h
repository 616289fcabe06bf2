// SPDX-License-Identifier: ISC
/*
 * Command line client: between its parts.
 */
#ifndef UBUS_TOOL_H
#define UBUS_TOOL_H

#include <libubox/blobmsg.h>

enum tool_style {
    TOOL_INDENTED,
    TOOL_COMPACT,
    TOOL_TYPEWORDS /* compact; numbers are types and printed as words */
};

/* Prints the children of a message or table as one JSON object, and a line end. */
void tool_print(const struct blob_attr *container, enum tool_style style);
/* Prints a named attribute as "name":value, compact, and a line end. */
void tool_print_method(const struct blob_attr *method);

/* Builds a message from the text of a JSON object; false when it is none. */
bool tool_scan(struct blob_buf *buf, const char *text);

#endif
