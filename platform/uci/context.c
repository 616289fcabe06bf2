// SPDX-License-Identifier: ISC
/* Contexts: directories, error texts, names of packages. */
#include <dirent.h>
#include <stdlib.h>
#include <string.h>

#include "internal.h"

struct uci_context *uci_alloc_context(void)
{
    struct uci_context *ctx = calloc(1, sizeof(*ctx));
    if (ctx == NULL) return NULL;
    uci_list_init(&ctx->root);
    uci_list_init(&ctx->backends);
    uci_list_init(&ctx->delta_path);
    if (uci_set_confdir(ctx, UCI_CONFDIR) == UCI_OK &&
        uci_set_savedir(ctx, UCI_SAVEDIR) == UCI_OK &&
        uci_set_conf2dir(ctx, UCI_CONF2DIR) == UCI_OK)
        return ctx;
    uci_free_context(ctx);
    return NULL;
}

void uci_free_context(struct uci_context *ctx)
{
    while (!uci_list_empty(&ctx->root))
        uci_package_free(uci_to_package(list_to_element(ctx->root.next)));
    uci_list_free(&ctx->delta_path);
    free(ctx->confdir);
    free(ctx->savedir);
    free(ctx->conf2dir);
    free(ctx);
}

static int set_text(struct uci_context *ctx, char **field, const char *text)
{
    char *copy = strdup(text);
    if (copy == NULL) return ctx->err = UCI_ERR_MEM;
    free(*field);
    *field = copy;
    return ctx->err = UCI_OK;
}

int uci_set_confdir(struct uci_context *ctx, const char *dir)
{
    if (ctx == NULL) return UCI_ERR_INVAL;
    if (dir == NULL) return ctx->err = UCI_ERR_INVAL;
    return set_text(ctx, &ctx->confdir, dir);
}

int uci_set_conf2dir(struct uci_context *ctx, const char *dir)
{
    if (ctx == NULL) return UCI_ERR_INVAL;
    if (dir != NULL) return set_text(ctx, &ctx->conf2dir, dir);
    free(ctx->conf2dir);
    ctx->conf2dir = NULL;
    return ctx->err = UCI_OK;
}

int uci_add_delta_path(struct uci_context *ctx, const char *dir)
{
    if (ctx == NULL) return UCI_ERR_INVAL;
    if (dir == NULL) return ctx->err = UCI_ERR_INVAL;
    if (uci_find(&ctx->delta_path, dir) != NULL) return ctx->err = UCI_ERR_DUPLICATE;
    struct uci_element *e = uci_element_new(sizeof(*e), UCI_TYPE_PATH, dir);
    if (e == NULL) return ctx->err = UCI_ERR_MEM;
    uci_list_add(&ctx->delta_path, e);
    return ctx->err = UCI_OK;
}

int uci_set_savedir(struct uci_context *ctx, const char *dir)
{
    const int result = uci_add_delta_path(ctx, dir);
    if (result != UCI_OK && result != UCI_ERR_DUPLICATE) return result;
    return set_text(ctx, &ctx->savedir, dir);
}

void uci_get_errorstr(struct uci_context *ctx, char **dest, const char *prefix)
{
    static const char *const texts[UCI_ERR_LAST] = {
        [UCI_OK] = "Success",
        [UCI_ERR_MEM] = "Out of memory",
        [UCI_ERR_INVAL] = "Invalid argument",
        [UCI_ERR_NOTFOUND] = "Entry not found",
        [UCI_ERR_IO] = "I/O error",
        [UCI_ERR_PARSE] = "Parse error",
        [UCI_ERR_DUPLICATE] = "Duplicate entry",
        [UCI_ERR_UNKNOWN] = "Unknown error",
    };
    int err = ctx == NULL ? UCI_ERR_INVAL : ctx->err;
    if (err < 0 || err >= UCI_ERR_LAST) err = UCI_ERR_UNKNOWN;
    const char *mark = prefix == NULL ? "" : ": ";
    if (prefix == NULL) prefix = "";
    if (dest == NULL)
        (void)fprintf(stderr, "%s%s%s\n", prefix, mark, texts[err]);
    else if (asprintf(dest, "%s%s%s", prefix, mark, texts[err]) < 0)
        *dest = NULL;
}

static int is_config(const struct dirent *entry)
{
    return uci_is_package(entry->d_name);
}

int uci_list_configs(struct uci_context *ctx, char ***list)
{
    if (ctx == NULL) return UCI_ERR_INVAL;
    struct dirent **entries = NULL;
    const int count = list == NULL ? -1 : scandir(ctx->confdir, &entries, is_config, alphasort);
    if (count < 0) return ctx->err = UCI_ERR_NOTFOUND;
    size_t size = ((size_t)count + 1) * sizeof(char *);
    for (int i = 0; i < count; i++)
        size += strlen(entries[i]->d_name) + 1;
    *list = calloc(1, size);
    char *name = *list == NULL ? NULL : (char *)(*list + count + 1);
    for (int i = 0; i < count; i++) {
        if (name != NULL) {
            (*list)[i] = name;
            name = stpcpy(name, entries[i]->d_name) + 1;
        }
        free(entries[i]);
    }
    free(entries);
    return ctx->err = *list == NULL ? UCI_ERR_MEM : UCI_OK;
}
