// SPDX-License-Identifier: ISC
/* Texts such as "package.section.option=value": split, looked up, set. */
#include <stdlib.h>
#include <string.h>

#include "internal.h"

static bool has_control(const char *text)
{
    for (; *text != '\0'; text++) {
        const unsigned char c = (unsigned char)*text;
        if (c < 0x20 && c != '\t' && c != '\r' && c != '\n') return true;
    }
    return false;
}

static bool split(struct uci_ptr *ptr, char *text)
{
    char *value = strchr(text, '=');
    if (value != NULL) {
        *value++ = '\0';
        ptr->value = value;
        if (has_control(value)) return false;
    }
    ptr->target = UCI_TYPE_PACKAGE;
    ptr->package = strsep(&text, ".");
    if (!uci_is_package(ptr->package)) return false;
    if (text == NULL) return true;
    ptr->target = UCI_TYPE_SECTION;
    ptr->section = strsep(&text, ".");
    if (ptr->section[0] == '\0') return false;
    if (!uci_is_name(ptr->section)) ptr->flags = UCI_LOOKUP_EXTENDED;
    if (text == NULL) return true;
    ptr->target = UCI_TYPE_OPTION;
    ptr->option = text;
    return uci_is_name(ptr->option); /* a fourth part's dot is in no name */
}

int uci_parse_ptr(struct uci_context *ctx, struct uci_ptr *ptr, char *str)
{
    if (ctx == NULL) return UCI_ERR_INVAL;
    if (ptr == NULL || str == NULL) return ctx->err = UCI_ERR_INVAL;
    memset(ptr, 0, sizeof(*ptr));
    if (split(ptr, str)) return ctx->err = UCI_OK;
    memset(ptr, 0, sizeof(*ptr));
    return ctx->err = UCI_ERR_PARSE;
}

/* "@type[index]", "@[index]"; negative indexes count from the end. False when malformed. */
static bool find_extended(struct uci_package *p, const char *text, struct uci_section **found)
{
    const char *open = text[0] == '@' ? strchr(text, '[') : NULL;
    if (open == NULL) return false;
    char *end = NULL;
    long index = strtol(open + 1, &end, 10);
    if (end == open + 1 || strcmp(end, "]") != 0) return false;
    const size_t length = (size_t)(open - text - 1);
    const bool backwards = index < 0;
    struct uci_list *at = backwards ? p->sections.prev : p->sections.next;
    for (; at != &p->sections; at = backwards ? at->prev : at->next) {
        struct uci_section *s = uci_to_section(list_to_element(at));
        const bool counts =
            length == 0 || (strlen(s->type) == length && strncmp(s->type, text + 1, length) == 0);
        if (!counts) continue;
        if (index == 0 || index == -1) {
            *found = s;
            return true;
        }
        index += backwards ? 1 : -1;
    }
    return true;
}

static int find_package(struct uci_context *ctx, struct uci_ptr *ptr)
{
    struct uci_element *e = uci_find(&ctx->root, ptr->package);
    if (e == NULL) return uci_load(ctx, ptr->package, &ptr->p);
    ptr->p = uci_to_package(e);
    return UCI_OK;
}

static int find_section(struct uci_ptr *ptr, bool extended)
{
    if ((ptr->flags & UCI_LOOKUP_EXTENDED) == 0) {
        struct uci_element *e = uci_find(&ptr->p->sections, ptr->section);
        if (e != NULL) ptr->s = uci_to_section(e);
        return UCI_OK;
    }
    if (!extended || !find_extended(ptr->p, ptr->section, &ptr->s)) return UCI_ERR_INVAL;
    if (ptr->s != NULL) ptr->section = ptr->s->e.name;
    return UCI_OK;
}

/* From package and section: the option, the last thing found, and whether that is all of it. */
static void settle(struct uci_ptr *ptr)
{
    const bool hasoption = ptr->s != NULL && ptr->option != NULL;
    ptr->o = hasoption ? uci_option_find(ptr->s, ptr->option) : NULL;
    ptr->last = &ptr->p->e;
    if (ptr->s != NULL) ptr->last = &ptr->s->e;
    if (ptr->o != NULL) ptr->last = &ptr->o->e;
    const unsigned complete = ptr->last->type == ptr->target ? UCI_LOOKUP_COMPLETE : 0U;
    ptr->flags = (ptr->flags & UCI_LOOKUP_EXTENDED) | UCI_LOOKUP_DONE | complete;
}

static int find_all(struct uci_context *ctx, struct uci_ptr *ptr, bool extended)
{
    ptr->p = NULL;
    ptr->s = NULL;
    ptr->o = NULL;
    ptr->last = NULL;
    ptr->flags = ptr->flags & UCI_LOOKUP_EXTENDED;
    int result = find_package(ctx, ptr);
    if (result != UCI_OK) return result;
    if (ptr->section != NULL) result = find_section(ptr, extended);
    if (result != UCI_OK)
        memset(ptr, 0, sizeof(*ptr));
    else
        settle(ptr);
    return result;
}

int uci_lookup_ptr(struct uci_context *ctx, struct uci_ptr *ptr, char *str, bool extended)
{
    if (ctx == NULL) return UCI_ERR_INVAL;
    if (ptr == NULL) return ctx->err = UCI_ERR_INVAL;
    if (str != NULL && uci_parse_ptr(ctx, ptr, str) != UCI_OK) return ctx->err;
    if (ptr->package == NULL) return ctx->err = UCI_ERR_INVAL;
    return ctx->err = find_all(ctx, ptr, extended);
}

/* UCI_CMD_REMOVE, _CHANGE or, when there is nothing to do, __UCI_CMD_MAX. */
static enum uci_command command_for(const struct uci_ptr *ptr)
{
    const bool there = ptr->option != NULL ? ptr->o != NULL : ptr->s != NULL;
    if (ptr->value[0] == '\0') return there ? UCI_CMD_REMOVE : __UCI_CMD_MAX;
    if (!there) return UCI_CMD_CHANGE;
    const char *old = ptr->s->type;
    if (ptr->o != NULL) old = ptr->o->type == UCI_TYPE_STRING ? ptr->o->v.string : "";
    return strcmp(old, ptr->value) == 0 ? __UCI_CMD_MAX : UCI_CMD_CHANGE;
}

static int set(struct uci_context *ctx, struct uci_ptr *ptr)
{
    if ((ptr->flags & UCI_LOOKUP_DONE) == 0) {
        const int result = find_all(ctx, ptr, true);
        if (result != UCI_OK) return result;
    }
    if (ptr->section == NULL || ptr->p == NULL) return UCI_ERR_INVAL;
    if (ptr->s == NULL && (ptr->option != NULL || !uci_is_name(ptr->section))) return UCI_ERR_INVAL;
    const bool typed = ptr->option == NULL && ptr->value[0] != '\0';
    if (typed && !uci_is_type(ptr->value)) return UCI_ERR_INVAL;
    struct uci_change change = {command_for(ptr), ptr->section, ptr->option, ptr->value};
    if (change.cmd == __UCI_CMD_MAX) return UCI_OK;
    if (change.cmd == UCI_CMD_REMOVE) change.value = NULL;
    int result = uci_record(ptr->p, &change);
    if (result == UCI_OK) result = uci_apply(ptr->p, &change);
    if (result != UCI_OK) return result;
    if (change.cmd == UCI_CMD_REMOVE && ptr->option == NULL)
        ptr->s = NULL; /* its name may have been ptr->section: not looked up again */
    else
        ptr->s = uci_to_section(uci_find(&ptr->p->sections, ptr->section));
    settle(ptr);
    return UCI_OK;
}

int uci_set(struct uci_context *ctx, struct uci_ptr *ptr)
{
    if (ctx == NULL) return UCI_ERR_INVAL;
    if (ptr == NULL || ptr->package == NULL || ptr->value == NULL) return ctx->err = UCI_ERR_INVAL;
    return ctx->err = set(ctx, ptr);
}
