// SPDX-License-Identifier: ISC
/*
 * Doubly linked lists with a head that is part of the ring.
 */
#ifndef LIBUBOX_LIST_H
#define LIBUBOX_LIST_H

#include <stdbool.h>
#include <stddef.h>

#ifndef container_of
#define container_of(ptr, type, member) ((type *)((char *)(ptr)-offsetof(type, member)))
#endif

struct list_head {
    struct list_head *next;
    struct list_head *prev;
};

#define LIST_HEAD_INIT(name) \
    {                        \
        &(name), &(name)     \
    }
#define LIST_HEAD(name) struct list_head name = LIST_HEAD_INIT(name)

static inline void INIT_LIST_HEAD(struct list_head *list)
{
    list->next = list;
    list->prev = list;
}

static inline bool list_empty(const struct list_head *head)
{
    return head->next == head;
}

static inline void list_add(struct list_head *entry, struct list_head *head)
{
    entry->next = head->next;
    entry->prev = head;
    head->next->prev = entry;
    head->next = entry;
}

/* Before `head`: the end of the list, or the place before another entry. */
static inline void list_add_tail(struct list_head *entry, struct list_head *head)
{
    list_add(entry, head->prev);
}

static inline void list_del(struct list_head *entry)
{
    entry->next->prev = entry->prev;
    entry->prev->next = entry->next;
    entry->next = NULL;
    entry->prev = NULL;
}

#define list_entry(ptr, type, member) container_of(ptr, type, member)
#define list_first_entry(head, type, member) list_entry((head)->next, type, member)

#define list_for_each_entry(pos, head, member)                                                 \
    for ((pos) = list_first_entry(head, __typeof__(*(pos)), member); &(pos)->member != (head); \
         (pos) = list_entry((pos)->member.next, __typeof__(*(pos)), member))

/* The current entry may be removed in the body. */
#define list_for_each_entry_safe(pos, following, head, member)                    \
    for ((pos) = list_first_entry(head, __typeof__(*(pos)), member),              \
        (following) = list_entry((pos)->member.next, __typeof__(*(pos)), member); \
         &(pos)->member != (head); (pos) = (following),                           \
        (following) = list_entry((following)->member.next, __typeof__(*(pos)), member))

#endif
