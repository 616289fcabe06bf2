// SPDX-License-Identifier: ISC
/*
 * Command line client: between its parts.
 */
#ifndef UBUS_TOOL_H
#define UBUS_TOOL_H

#include <libubus.h>

#define TOOL_WRONG_ARGUMENTS (-UBUS_STATUS_INVALID_ARGUMENT) /* a result that shows the usage */

struct tool_options {
    const char *socket;
    int timeout; /* s */
    int limit;   /* s to wait for notifications and events; 0: for ever */
    bool simple;
    bool verbose;
};

extern struct tool_options tool_options;

enum tool_style {
    TOOL_INDENTED,
    TOOL_COMPACT,
    TOOL_TYPEWORDS /* compact; numbers are types and printed as words */
};

/* Prints the children of a message or table as one JSON object, and a line end. */
void tool_print(const struct blob_attr *container, enum tool_style style);
/* Prints a named attribute as "name":value, compact, and a line end. */
void tool_print_method(const struct blob_attr *method);

/* Prints a notification or event as a line that is passed on at once. */
void tool_print_told(const char *type, const struct blob_attr *message);

/* Prints the attributes of a bus message by their names, and a line end. */
void tool_print_attributes(const struct blob_attr *attributes);

/* told.c: commands, as those of tool.c. */
int tool_subscribe(struct ubus_context *ctx, int argc, char **argv);
int tool_listen(struct ubus_context *ctx, int argc, char **argv);
int tool_monitor(struct ubus_context *ctx, int argc, char **argv);
int tool_send(struct ubus_context *ctx, int argc, char **argv);

/* Builds a message from the text of a JSON object; false when it is none. */
bool tool_scan(struct blob_buf *buf, const char *text);

#endif
