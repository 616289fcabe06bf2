// SPDX-License-Identifier: ISC
/* The package tree: elements in lists, names, and who frees what. */
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "internal.h"

static bool has_only(const char *text, const char *extra)
{
    static const char usual[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";
    const char *at = text;
    while (*at != '\0' && (strchr(usual, *at) != NULL || strchr(extra, *at) != NULL))
        at++;
    return *at == '\0' && at != text;
}

bool uci_is_name(const char *text)
{
    return has_only(text, "");
}

bool uci_is_package(const char *text)
{
    return has_only(text, "-");
}

bool uci_is_type(const char *text)
{
    const char *at = text;
    while (*at >= 33 && *at <= 126)
        at++;
    return *at == '\0' && at != text;
}

void uci_list_init(struct uci_list *list)
{
    list->next = list;
    list->prev = list;
}

void uci_list_add(struct uci_list *list, struct uci_element *e)
{
    e->list.next = list;
    e->list.prev = list->prev;
    list->prev->next = &e->list;
    list->prev = &e->list;
}

void uci_list_del(struct uci_element *e)
{
    e->list.prev->next = e->list.next;
    e->list.next->prev = e->list.prev;
    uci_list_init(&e->list);
}

struct uci_element *uci_find(struct uci_list *list, const char *name)
{
    struct uci_element *e;
    uci_foreach_element(list, e)
    {
        if (strcmp(e->name, name) == 0) return e;
    }
    return NULL;
}

void *uci_element_new(size_t size, enum uci_type type, const char *name)
{
    struct uci_element *e = calloc(1, size);
    if (e == NULL) return NULL;
    uci_list_init(&e->list);
    e->type = type;
    e->name = name == NULL ? NULL : strdup(name);
    if (name == NULL || e->name != NULL) return e;
    free(e);
    return NULL;
}

void uci_element_free(struct uci_element *e)
{
    uci_list_del(e);
    free(e->name);
    free(e);
}

void uci_list_free(struct uci_list *list)
{
    struct uci_element *e;
    struct uci_element *next;
    uci_foreach_element_safe(list, next, e)
    {
        free(e->name);
        free(e);
    }
    uci_list_init(list);
}

struct uci_package *uci_package_new(struct uci_context *ctx, const char *name, const char *path)
{
    struct uci_package *p = uci_element_new(sizeof(*p), UCI_TYPE_PACKAGE, name);
    if (p == NULL) return NULL;
    uci_list_init(&p->sections);
    uci_list_init(&p->delta);
    uci_list_init(&p->saved_delta);
    p->ctx = ctx;
    p->has_delta = true;
    p->path = strdup(path);
    if (p->path != NULL) return p;
    uci_package_free(p);
    return NULL;
}

void uci_delta_free(struct uci_list *list)
{
    while (!uci_list_empty(list)) {
        struct uci_delta *delta = uci_to_delta(list_to_element(list->next));
        free(delta->section);
        free(delta->value);
        uci_element_free(&delta->e);
    }
}

void uci_package_free(struct uci_package *p)
{
    while (!uci_list_empty(&p->sections))
        uci_section_free(uci_to_section(list_to_element(p->sections.next)));
    uci_delta_free(&p->delta);
    free(p->path);
    uci_element_free(&p->e);
}

/* "cfg", the section's number in the package and 16 bits of its type's hash (times 33, from 5381).
 */
static void generate_name(struct uci_package *p, const char *type, char *name, size_t size)
{
    uint32_t hash = 5381;
    for (const char *at = type; *at != '\0'; at++)
        hash = hash * 33 + (unsigned char)*at;
    (void)snprintf(name, size, "cfg%02x%04x", (unsigned)p->n_section, hash & 0xffff);
}

struct uci_section *uci_section_new(struct uci_package *p, const char *type, const char *name)
{
    char generated[32];
    p->n_section++;
    if (name == NULL) generate_name(p, type, generated, sizeof(generated));
    struct uci_section *s =
        uci_element_new(sizeof(*s), UCI_TYPE_SECTION, name == NULL ? generated : name);
    if (s == NULL) return NULL;
    uci_list_init(&s->options);
    s->package = p;
    s->anonymous = name == NULL;
    s->type = strdup(type);
    if (s->type == NULL) {
        uci_section_free(s);
        return NULL;
    }
    uci_list_add(&p->sections, &s->e);
    return s;
}

void uci_section_free(struct uci_section *s)
{
    while (!uci_list_empty(&s->options))
        uci_option_free(uci_to_option(list_to_element(s->options.next)));
    free(s->type);
    uci_element_free(&s->e);
}

struct uci_option *uci_option_find(struct uci_section *s, const char *name)
{
    struct uci_element *e = uci_find(&s->options, name);
    return e == NULL ? NULL : uci_to_option(e);
}

static void clear_value(struct uci_option *o)
{
    if (o->type == UCI_TYPE_LIST)
        uci_list_free(&o->v.list);
    else
        free(o->v.string);
}

void uci_option_free(struct uci_option *o)
{
    clear_value(o);
    uci_element_free(&o->e);
}

/* The option of that name, or a new one that is a text still to be set. */
static struct uci_option *find_or_make(struct uci_section *s, const char *name)
{
    struct uci_option *o = uci_option_find(s, name);
    if (o != NULL) return o;
    o = uci_element_new(sizeof(*o), UCI_TYPE_OPTION, name);
    if (o == NULL) return NULL;
    o->section = s;
    uci_list_add(&s->options, &o->e);
    return o;
}

int uci_option_put(struct uci_section *s, const char *name, const char *value)
{
    char *copy = strdup(value);
    if (copy == NULL) return UCI_ERR_MEM;
    struct uci_option *o = find_or_make(s, name);
    if (o == NULL) {
        free(copy);
        return UCI_ERR_MEM;
    }
    clear_value(o);
    o->type = UCI_TYPE_STRING;
    o->v.string = copy;
    return UCI_OK;
}

int uci_option_append(struct uci_section *s, const char *name, const char *item)
{
    struct uci_element *e = uci_element_new(sizeof(*e), UCI_TYPE_ITEM, item);
    if (e == NULL) return UCI_ERR_MEM;
    struct uci_element *first = uci_element_new(sizeof(*first), UCI_TYPE_ITEM, NULL);
    struct uci_option *o = first == NULL ? NULL : find_or_make(s, name);
    if (o == NULL) {
        free(first);
        uci_element_free(e);
        return UCI_ERR_MEM;
    }
    if (o->type == UCI_TYPE_STRING) { /* the text becomes the first item */
        first->name = o->v.string;
        o->type = UCI_TYPE_LIST;
        uci_list_init(&o->v.list);
        if (first->name != NULL) {
            uci_list_add(&o->v.list, first);
            first = NULL;
        }
    }
    free(first);
    uci_list_add(&o->v.list, e);
    return UCI_OK;
}
