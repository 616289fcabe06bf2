// SPDX-License-Identifier: ISC
/*
 * Bus broker: objects and types, and the numbers and names under which they are found.
 */
#include <search.h>
#include <stdlib.h>
#include <sys/random.h>
#include <unistd.h>

#include <libubox/blobmsg.h>

#include "ubusd.h"

size_t ubusd_object_count;
static void *objects; /* by id */
static void *paths;   /* objects by name, those without one left out */
static void *types;   /* by id */

static int compare_ids(const void *left, const void *right)
{
    const uint32_t a = *(const uint32_t *)left;
    const uint32_t b = *(const uint32_t *)right;
    return (a > b) - (a < b);
}

bool ubusd_id_assign(void **tree, uint32_t *id)
{
    static uint32_t number;
    if (number == 0 && getrandom(&number, sizeof(number), GRND_NONBLOCK) != (ssize_t)sizeof(number))
        number = (uint32_t)getpid() << 12;
    for (;;) {
        number = number * 1664525U + 1013904223U; /* full period: every number comes up */
        if (number < UBUS_CLIENT_ID_MIN) continue;
        *id = number;
        uint32_t *const *node = tsearch(id, tree, compare_ids);
        if (node == NULL) return false;
        if (*node == id) return true;
    }
}

uint32_t *ubusd_id_find(void *const *tree, uint32_t id)
{
    uint32_t *const *node = tfind(&id, tree, compare_ids);
    return node != NULL ? *node : NULL;
}

void ubusd_id_release(void **tree, uint32_t *id)
{
    (void)tdelete(id, tree, compare_ids);
}

struct ubusd_type *ubusd_find_type(uint32_t id)
{
    uint32_t *found = ubusd_id_find(&types, id);
    return found != NULL ? container_of(found, struct ubusd_type, id) : NULL;
}

void ubusd_drop_type(struct ubusd_type *type)
{
    if (type == NULL || type->users > 0) return;
    ubusd_id_release(&types, &type->id);
    free(type->signature);
    free(type);
}

struct ubusd_type *ubusd_new_type(const struct blob_attr *signature)
{
    struct blob_attr *method;
    size_t rem;
    blob_for_each_attr(method, signature, rem)
    {
        if (!blobmsg_check_attr_len(method, true, rem)) return NULL;
    }
    const size_t size = blob_raw_len(signature);
    struct ubusd_type *type = calloc(1, sizeof(*type));
    struct blob_attr *copy = malloc(size);
    if (type == NULL || copy == NULL || !ubusd_id_assign(&types, &type->id)) {
        free(type);
        free(copy);
        return NULL;
    }
    memcpy(copy, signature, size);
    type->signature = copy;
    return type;
}

struct ubusd_object *ubusd_find_object(uint32_t id)
{
    uint32_t *found = ubusd_id_find(&objects, id);
    return found != NULL ? container_of(found, struct ubusd_object, id) : NULL;
}

static int compare_paths(const void *left, const void *right)
{
    const struct ubusd_object *a = left;
    const struct ubusd_object *b = right;
    return strcmp(a->path, b->path);
}

struct ubusd_object *ubusd_find_path(const char *path)
{
    const struct ubusd_object key = {.path = (char *)path};
    struct ubusd_object *const *node = tfind(&key, &paths, compare_paths);
    return node != NULL ? *node : NULL;
}

/* A walk through a tree takes no argument of its own. */
static struct {
    void (*take)(const struct ubusd_object *object, void *priv);
    void *priv;
} walk;

static void visit(const void *node, VISIT order, int depth)
{
    (void)depth;
    if (order == postorder || order == leaf)
        walk.take(*(struct ubusd_object *const *)node, walk.priv);
}

void ubusd_each_path(void (*take)(const struct ubusd_object *object, void *priv), void *priv)
{
    walk.take = take;
    walk.priv = priv;
    twalk(paths, visit);
}

/* Frees what is not in the trees, or not any more. */
static void free_object(struct ubusd_object *object)
{
    if (object == NULL) return;
    free(object->path);
    free(object);
}

struct ubusd_object *ubusd_add_object(struct ubusd_client *client,
                                      const char *path,
                                      struct ubusd_type *type)
{
    struct ubusd_object *object = calloc(1, sizeof(*object));
    if (object != NULL && path != NULL) object->path = strdup(path);
    if (object == NULL || (path != NULL && object->path == NULL) ||
        !ubusd_id_assign(&objects, &object->id)) {
        free_object(object);
        return NULL;
    }
    if (path != NULL && tsearch(object, &paths, compare_paths) == NULL) {
        ubusd_id_release(&objects, &object->id);
        free_object(object);
        return NULL;
    }
    object->client = client;
    INIT_LIST_HEAD(&object->subscribers);
    INIT_LIST_HEAD(&object->targets);
    object->type = type;
    if (type != NULL) type->users++;
    list_add_tail(&object->of_client, &client->objects);
    ubusd_object_count++;
    ubusd_event_object(object, "add");
    return object;
}

bool ubusd_remove_object(struct ubusd_object *object)
{
    ubusd_end_subscriptions(object);
    list_del(&object->of_client);
    ubusd_id_release(&objects, &object->id);
    if (object->path != NULL) (void)tdelete(object, &paths, compare_paths);
    ubusd_object_count--;
    ubusd_event_forget(object);
    ubusd_event_object(object, "remove");
    const bool last = object->type != NULL && --object->type->users == 0;
    if (last) ubusd_drop_type(object->type);
    free_object(object);
    return last;
}

void ubusd_remove_objects_of(struct ubusd_client *client)
{
    struct ubusd_object *object;
    struct ubusd_object *following;
    list_for_each_entry_safe(object, following, &client->objects, of_client)
    {
        (void)ubusd_remove_object(object);
    }
}
