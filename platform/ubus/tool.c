// SPDX-License-Identifier: ISC
/*
 * Command line client: options and commands.
 */
#include "tool.h"

#include <inttypes.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#define WAIT_STEP 50 /* ms between two looks of wait_for */

struct tool_options tool_options = {.timeout = 30};

static struct blob_buf message;

static int usage(const char *program)
{
    fprintf(stderr,
            "Usage: %s [<options>] <command> [arguments...]\n"
            "Options:\n"
            " -s <socket>:\t\tThe bus socket to connect to\n"
            " -t <timeout>:\t\tSeconds that a command may take (default 30;\n"
            "\t\t\tsubscribe and listen: for ever)\n"
            " -S:\t\t\tSimple output, for scripts\n"
            " -v:\t\t\tVerbose output\n"
            "\n"
            "Commands:\n"
            " - list [<path>]\t\t\tList objects\n"
            " - call <path> <method> [<message>]\tCall an object's method\n"
            " - subscribe <path> [<path>...]\t\tShow what objects notify\n"
            " - listen [<pattern>...]\t\tShow events\n"
            " - monitor\t\t\t\tShow all messages\n"
            " - send <type> [<message>]\t\tSend an event\n"
            " - wait_for <object> [<object>...]\tWait until all objects are there\n",
            program);
    return 1;
}

static void on_listed(struct ubus_context *ctx, struct ubus_object_data *object, void *priv)
{
    (void)ctx;
    (void)priv;
    if (tool_options.simple || !tool_options.verbose) {
        puts(object->path);
        return;
    }
    printf("'%s' @%08" PRIx32 "\n", object->path, object->id);
    const struct blob_attr *method;
    size_t rem;
    blob_for_each_attr(method, object->signature, rem)
    {
        if (!blobmsg_check_attr_len(method, true, rem)) continue;
        putchar('\t');
        tool_print_method(method);
    }
}

static int list(struct ubus_context *ctx, int argc, char **argv)
{
    if (argc > 1) return TOOL_WRONG_ARGUMENTS;
    return ubus_lookup(ctx, argc == 1 ? argv[0] : NULL, on_listed, NULL);
}

static void on_data(struct ubus_request *req, int type, struct blob_attr *msg)
{
    (void)req;
    (void)type;
    tool_print(msg, tool_options.simple ? TOOL_COMPACT : TOOL_INDENTED);
    fflush(stdout);
}

/* Without a terminal the whole command is shown, and the exit code is 256 less the status. */
static int report_call(int status, int argc, char **argv)
{
    if (status == UBUS_STATUS_OK || tool_options.simple || isatty(STDERR_FILENO)) return status;
    fputs("Command failed: ubus call ", stderr);
    for (int i = 0; i < argc; i++)
        fprintf(stderr, "%s ", argv[i]);
    fprintf(stderr, "(%s)\n", ubus_strerror(status));
    return -status;
}

static int call(struct ubus_context *ctx, int argc, char **argv)
{
    uint32_t id = 0;
    if (argc < 2 || argc > 3) return TOOL_WRONG_ARGUMENTS;
    blob_buf_init(&message, 0);
    if (argc == 3 && !tool_scan(&message, argv[2]))
        return report_call(UBUS_STATUS_PARSE_ERROR, argc, argv);
    const int found = ubus_lookup_id(ctx, argv[0], &id);
    if (found != UBUS_STATUS_OK) return found;
    int timeout = tool_options.timeout > INT_MAX / 1000 ? INT_MAX : tool_options.timeout * 1000;
    if (tool_options.timeout < 0) timeout = -1;
    const int status = ubus_invoke(ctx, id, argv[1], message.head, on_data, NULL, timeout);
    return report_call(status, argc, argv);
}

static int64_t now_ms(void)
{
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (int64_t)ts.tv_sec * 1000 + ts.tv_nsec / 1000000;
}

static int wait_for(struct ubus_context *ctx, int argc, char **argv)
{
    const int64_t deadline = now_ms() + (int64_t)tool_options.timeout * 1000;
    if (argc < 1) return TOOL_WRONG_ARGUMENTS;
    for (int i = 0; i < argc;) {
        uint32_t id = 0;
        const int status = ubus_lookup_id(ctx, argv[i], &id);
        if (status == UBUS_STATUS_OK) {
            i++;
            continue;
        }
        if (status != UBUS_STATUS_NOT_FOUND) return status;
        if (now_ms() >= deadline) return UBUS_STATUS_TIMEOUT;
        (void)usleep(WAIT_STEP * 1000);
    }
    return UBUS_STATUS_OK;
}

static const struct {
    const char *name;
    int (*run)(struct ubus_context *ctx, int argc, char **argv);
} commands[] = {
    {"list", list},          {"call", call},      {"subscribe", tool_subscribe},
    {"listen", tool_listen}, {"send", tool_send}, {"monitor", tool_monitor},
    {"wait_for", wait_for},
};

static int run(struct ubus_context *ctx, int argc, char **argv)
{
    for (size_t i = 0; i < ARRAY_SIZE(commands); i++) {
        if (strcmp(commands[i].name, argv[0]) == 0) return commands[i].run(ctx, argc - 1, argv + 1);
    }
    return TOOL_WRONG_ARGUMENTS;
}

static bool read_options(int argc, char **argv)
{
    int option;
    while ((option = getopt(argc, argv, "m:M:s:St:v")) != -1) {
        switch (option) {
            case 'm':
            case 'M':
                break;
            case 's':
                tool_options.socket = optarg;
                break;
            case 'S':
                tool_options.simple = true;
                break;
            case 't':
                tool_options.timeout = (int)strtol(optarg, NULL, 10);
                tool_options.limit = tool_options.timeout;
                break;
            case 'v':
                tool_options.verbose = true;
                break;
            default:
                return false;
        }
    }
    return optind < argc;
}

int main(int argc, char **argv)
{
    if (!read_options(argc, argv)) return usage(argv[0]);
    struct ubus_context *ctx = ubus_connect(tool_options.socket);
    if (ctx == NULL) {
        if (!tool_options.simple) fputs("Failed to connect to ubus\n", stderr);
        return 255;
    }
    uloop_done(); /* a signal ends the program even while it waits for an answer */
    const int result = run(ctx, argc - optind, argv + optind);
    if (result > 0 && !tool_options.simple)
        fprintf(stderr, "Command failed: %s\n", ubus_strerror(result));
    else if (result == TOOL_WRONG_ARGUMENTS)
        (void)usage(argv[0]);
    ubus_free(ctx);
    return result;
}
