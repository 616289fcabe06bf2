// SPDX-License-Identifier: ISC
/* Changes of a package in memory: one function for each kind, whoever asks for it. */
#include <stdlib.h>
#include <string.h>

#include "internal.h"

struct place {
    struct uci_package *p;
    struct uci_section *s;
    struct uci_option *o;
};

static int remove_place(struct place at, const struct uci_change *change)
{
    if (change->option != NULL && at.o == NULL) return UCI_ERR_NOTFOUND;
    if (at.s == NULL) return UCI_ERR_NOTFOUND;
    if (at.o != NULL)
        uci_option_free(at.o);
    else
        uci_section_free(at.s);
    return UCI_OK;
}

static int set_section(struct place at, const struct uci_change *change)
{
    if (!uci_is_type(change->value)) return UCI_ERR_INVAL;
    if (at.s == NULL)
        return uci_section_new(at.p, change->value, change->section) == NULL ? UCI_ERR_MEM : UCI_OK;
    char *type = strdup(change->value);
    if (type == NULL) return UCI_ERR_MEM;
    free(at.s->type);
    at.s->type = type;
    return UCI_OK;
}

static int change_place(struct place at, const struct uci_change *change)
{
    if (change->value[0] == '\0') return remove_place(at, change);
    if (change->option == NULL) return set_section(at, change);
    if (at.s == NULL) return UCI_ERR_NOTFOUND;
    return uci_option_put(at.s, change->option, change->value);
}

static int add_section(struct place at, const struct uci_change *change)
{
    if (change->option != NULL) return UCI_ERR_INVAL;
    const int result = set_section(at, change);
    struct uci_element *made = result == UCI_OK ? uci_find(&at.p->sections, change->section) : NULL;
    if (made != NULL) uci_to_section(made)->anonymous = true;
    return result;
}

static int rename_place(struct place at, const struct uci_change *change)
{
    if (at.s == NULL || (change->option != NULL && at.o == NULL)) return UCI_ERR_NOTFOUND;
    struct uci_list *siblings = at.o != NULL ? &at.s->options : &at.p->sections;
    if (!uci_is_name(change->value)) return UCI_ERR_INVAL;
    if (uci_find(siblings, change->value) != NULL) return UCI_ERR_DUPLICATE;
    struct uci_element *e = at.o != NULL ? &at.o->e : &at.s->e;
    char *name = strdup(change->value);
    if (name == NULL) return UCI_ERR_MEM;
    free(e->name);
    e->name = name;
    if (at.o == NULL) at.s->anonymous = false;
    return UCI_OK;
}

/* The value is the section's new position, counted from 0. */
static int reorder_section(struct place at, const struct uci_change *change)
{
    if (at.s == NULL || change->option != NULL) return UCI_ERR_NOTFOUND;
    char *end = NULL;
    unsigned long position = strtoul(change->value, &end, 10);
    if (end == change->value || *end != '\0') return UCI_ERR_INVAL;
    uci_list_del(&at.s->e);
    struct uci_list *before = at.p->sections.next;
    for (; position > 0 && before != &at.p->sections; position--)
        before = before->next;
    uci_list_add(before, &at.s->e); /* in front of that one, or at the end */
    return UCI_OK;
}

static int add_item(struct place at, const struct uci_change *change)
{
    if (at.s == NULL || change->option == NULL) return UCI_ERR_NOTFOUND;
    return uci_option_append(at.s, change->option, change->value);
}

static int remove_item(struct place at, const struct uci_change *change)
{
    if (at.o == NULL || at.o->type != UCI_TYPE_LIST) return UCI_ERR_NOTFOUND;
    struct uci_element *item = uci_find(&at.o->v.list, change->value);
    if (item != NULL) uci_element_free(item);
    if (uci_list_empty(&at.o->v.list)) uci_option_free(at.o);
    return UCI_OK;
}

static const struct {
    bool needsvalue;
    int (*apply)(struct place at, const struct uci_change *change);
} commands[__UCI_CMD_MAX] = {
    [UCI_CMD_ADD] = {true, add_section},         [UCI_CMD_REMOVE] = {false, remove_place},
    [UCI_CMD_CHANGE] = {true, change_place},     [UCI_CMD_RENAME] = {true, rename_place},
    [UCI_CMD_REORDER] = {true, reorder_section}, [UCI_CMD_LIST_ADD] = {true, add_item},
    [UCI_CMD_LIST_DEL] = {true, remove_item},
};

int uci_apply(struct uci_package *p, const struct uci_change *change)
{
    if (commands[change->cmd].needsvalue && change->value == NULL) return UCI_ERR_INVAL;
    struct uci_element *e = uci_find(&p->sections, change->section);
    struct place at = {p, e == NULL ? NULL : uci_to_section(e), NULL};
    if (at.s != NULL && change->option != NULL) at.o = uci_option_find(at.s, change->option);
    return commands[change->cmd].apply(at, change);
}

int uci_record(struct uci_package *p, const struct uci_change *change)
{
    struct uci_delta *delta = uci_element_new(sizeof(*delta), UCI_TYPE_DELTA, change->option);
    if (delta == NULL) return UCI_ERR_MEM;
    delta->cmd = change->cmd;
    delta->section = strdup(change->section);
    delta->value = change->value == NULL ? NULL : strdup(change->value);
    uci_list_add(&p->delta, &delta->e);
    if (delta->section != NULL && (change->value == NULL || delta->value != NULL)) return UCI_OK;
    free(delta->section);
    free(delta->value);
    uci_element_free(&delta->e);
    return UCI_ERR_MEM;
}
