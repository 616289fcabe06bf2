// SPDX-License-Identifier: ISC
/* uci: shows and changes configuration options from the command line. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "internal.h" /* for the quoting of values and the pending files */

enum { EXIT_USAGE = 255 };

/* Items of a list stand side by side; without quoting, only those with white space are quoted. */
static void print_value(struct uci_option *o, bool quote)
{
    struct uci_element *item;
    const char *separator = "";
    if (o->type == UCI_TYPE_STRING) {
        if (quote)
            uci_write_quoted(stdout, o->v.string);
        else
            (void)fputs(o->v.string, stdout);
        (void)putchar('\n');
        return;
    }
    uci_foreach_element(&o->v.list, item)
    {
        (void)fputs(separator, stdout);
        if (quote || strpbrk(item->name, " \t\r\n") != NULL)
            uci_write_quoted(stdout, item->name);
        else
            (void)fputs(item->name, stdout);
        separator = " ";
    }
    (void)putchar('\n');
}

/* "package.section"; in the list of a whole package, an unnamed section by its type and its number
 * among those of that type. */
static void print_section_name(struct uci_section *s, bool listed)
{
    struct uci_element *e;
    unsigned number = 0;
    if (!s->anonymous || !listed) {
        (void)printf("%s.%s", s->package->e.name, s->e.name);
        return;
    }
    uci_foreach_element(&s->package->sections, e)
    {
        if (e == &s->e) break;
        if (strcmp(uci_to_section(e)->type, s->type) == 0) number++;
    }
    (void)printf("%s.@%s[%u]", s->package->e.name, s->type, number);
}

static void show_option(struct uci_option *o, bool listed)
{
    print_section_name(o->section, listed);
    (void)printf(".%s=", o->e.name);
    print_value(o, true);
}

static void show_section(struct uci_section *s, bool listed)
{
    struct uci_element *e;
    print_section_name(s, listed);
    (void)printf("=%s\n", s->type);
    uci_foreach_element(&s->options, e) show_option(uci_to_option(e), listed);
}

static void show_package(struct uci_package *p)
{
    struct uci_element *e;
    uci_foreach_element(&p->sections, e) show_section(uci_to_section(e), true);
}

/* Looks up what must be there; the text is taken apart. */
static int find(struct uci_context *ctx, char *text, struct uci_ptr *ptr)
{
    if (uci_lookup_ptr(ctx, ptr, text, true) != UCI_OK) return ctx->err;
    if ((ptr->flags & UCI_LOOKUP_COMPLETE) == 0) ctx->err = UCI_ERR_NOTFOUND;
    return ctx->err;
}

static int show(struct uci_context *ctx, char *text)
{
    struct uci_ptr ptr;
    if (find(ctx, text, &ptr) != UCI_OK) return ctx->err;
    if (ptr.target == UCI_TYPE_OPTION)
        show_option(ptr.o, false);
    else if (ptr.target == UCI_TYPE_SECTION)
        show_section(ptr.s, false);
    else
        show_package(ptr.p);
    return UCI_OK;
}

static int get(struct uci_context *ctx, char *text)
{
    struct uci_ptr ptr;
    if (find(ctx, text, &ptr) != UCI_OK) return ctx->err;
    if (ptr.target == UCI_TYPE_PACKAGE) return ctx->err = UCI_ERR_INVAL;
    if (ptr.target == UCI_TYPE_OPTION)
        print_value(ptr.o, false);
    else
        (void)printf("%s\n", ptr.s->type);
    return UCI_OK;
}

static int set(struct uci_context *ctx, char *text)
{
    struct uci_ptr ptr;
    if (uci_lookup_ptr(ctx, &ptr, text, true) != UCI_OK) return ctx->err;
    return uci_set(ctx, &ptr) != UCI_OK ? ctx->err : uci_save(ctx, ptr.p);
}

static int delete (struct uci_context *ctx, char *text)
{
    struct uci_ptr ptr;
    if (find(ctx, text, &ptr) != UCI_OK) return ctx->err;
    ptr.value = "";
    return uci_set(ctx, &ptr) != UCI_OK ? ctx->err : uci_save(ctx, ptr.p);
}

static void print_change(const struct uci_change *change, void *package)
{
    const char *sign = change->cmd == UCI_CMD_REMOVE ? "-" : "";
    const char *equals = "=";
    if (change->cmd == UCI_CMD_LIST_ADD) equals = "+=";
    if (change->cmd == UCI_CMD_LIST_DEL) equals = "-=";
    (void)printf("%s%s.%s", sign, (const char *)package, change->section);
    if (change->option != NULL) (void)printf(".%s", change->option);
    if (change->value != NULL) {
        (void)fputs(equals, stdout);
        uci_write_quoted(stdout, change->value);
    }
    (void)putchar('\n');
}

static int changes(struct uci_context *ctx, char *text)
{
    if (!uci_is_package(text)) return ctx->err = UCI_ERR_INVAL;
    return uci_each_pending(ctx, text, print_change, text);
}

static int revert(struct uci_context *ctx, char *text)
{
    struct uci_ptr ptr;
    if (uci_lookup_ptr(ctx, &ptr, text, true) != UCI_OK) return ctx->err;
    return uci_drop_pending(ctx, ptr.package, ptr.section, ptr.option);
}

static int commit(struct uci_context *ctx, char *text)
{
    struct uci_ptr ptr;
    if (uci_lookup_ptr(ctx, &ptr, text, true) != UCI_OK) return ctx->err;
    return uci_commit(ctx, &ptr.p, false);
}

static const struct {
    const char *name;
    int fewest; /* arguments; with none, the command runs for every package */
    int most;
    int (*run)(struct uci_context *ctx, char *text);
} commands[] = {
    {"show", 0, 1, show},     {"get", 1, 1, get},         {"set", 1, 1, set},
    {"delete", 1, 1, delete}, {"changes", 0, 1, changes}, {"revert", 1, 1, revert},
    {"commit", 0, 1, commit},
};

static int usage(void)
{
    (void)fputs(
        "Usage: uci [-q] [-c confdir] [-p|-P savedir] command\n\n"
        "\tshow [package[.section[.option]]]\n"
        "\tget package.section[.option]\n"
        "\tset package.section[.option]=value\n"
        "\tdelete package.section[.option]\n"
        "\tchanges [package]\n"
        "\trevert package[.section[.option]]\n"
        "\tcommit [package]\n",
        stderr);
    return EXIT_USAGE;
}

static int run_for_all(struct uci_context *ctx, int (*run)(struct uci_context *ctx, char *text))
{
    char **names = NULL;
    if (uci_list_configs(ctx, &names) != UCI_OK) return ctx->err;
    for (char **name = names; *name != NULL; name++)
        (void)run(ctx, *name); /* one unreadable package does not hide the others */
    free(names);
    return UCI_OK;
}

static int run_command(struct uci_context *ctx, int argc, char **argv, bool quiet)
{
    for (size_t i = 0; argc > 0 && i < sizeof(commands) / sizeof(commands[0]); i++) {
        if (strcmp(argv[0], commands[i].name) != 0) continue;
        if (argc - 1 < commands[i].fewest || argc - 1 > commands[i].most) return usage();
        const int result =
            argc == 1 ? run_for_all(ctx, commands[i].run) : commands[i].run(ctx, argv[1]);
        if (result != UCI_OK && !quiet) uci_get_errorstr(ctx, NULL, "uci");
        return result == UCI_OK ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    return usage();
}

int main(int argc, char **argv)
{
    struct uci_context *ctx = uci_alloc_context();
    if (ctx == NULL) return EXIT_FAILURE;
    bool quiet = false;
    int option;
    int result = EXIT_SUCCESS;
    while (result == EXIT_SUCCESS && (option = getopt(argc, argv, "c:p:P:q")) != -1) {
        if (option == 'c')
            (void)uci_set_confdir(ctx, optarg);
        else if (option == 'p')
            (void)uci_add_delta_path(ctx, optarg);
        else if (option == 'P')
            (void)uci_set_savedir(ctx, optarg);
        else if (option == 'q')
            quiet = true;
        else
            result = usage();
    }
    if (result == EXIT_SUCCESS) result = run_command(ctx, argc - optind, argv + optind, quiet);
    uci_free_context(ctx);
    return fflush(stdout) != 0 ? EXIT_FAILURE : result;
}
