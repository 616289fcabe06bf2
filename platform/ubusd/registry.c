// SPDX-License-Identifier: ISC
/*
 * Bus broker: objects and types.
 */
#include <stdlib.h>
#include <sys/random.h>
#include <unistd.h>

#include <libubox/blobmsg.h>

#include "ubusd.h"

LIST_HEAD(ubusd_objects);
static LIST_HEAD(types);

uint32_t ubusd_new_id(bool (*taken)(uint32_t id))
{
    static uint32_t id;
    if (id == 0 && getrandom(&id, sizeof(id), GRND_NONBLOCK) != (ssize_t)sizeof(id))
        id = (uint32_t)getpid() << 12;
    do {
        id = id * 1664525U + 1013904223U; /* full period: every number comes up */
    } while (id < UBUS_CLIENT_ID_MIN || taken(id));
    return id;
}

struct ubusd_type *ubusd_find_type(uint32_t id)
{
    struct ubusd_type *type;
    list_for_each_entry(type, &types, list)
    {
        if (type->id == id) return type;
    }
    return NULL;
}

static bool type_taken(uint32_t id)
{
    return ubusd_find_type(id) != NULL;
}

static void free_type(struct ubusd_type *type)
{
    list_del(&type->list);
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
    if (type == NULL || copy == NULL) {
        free(type);
        free(copy);
        return NULL;
    }
    memcpy(copy, signature, size);
    type->signature = copy;
    type->id = ubusd_new_id(type_taken);
    list_add_tail(&type->list, &types);
    return type;
}

struct ubusd_object *ubusd_find_object(uint32_t id)
{
    struct ubusd_object *object;
    list_for_each_entry(object, &ubusd_objects, list)
    {
        if (object->id == id) return object;
    }
    return NULL;
}

struct ubusd_object *ubusd_find_path(const char *path)
{
    struct ubusd_object *object;
    list_for_each_entry(object, &ubusd_objects, list)
    {
        if (object->path != NULL && strcmp(object->path, path) == 0) return object;
    }
    return NULL;
}

static bool object_taken(uint32_t id)
{
    return ubusd_find_object(id) != NULL;
}

static void insert(struct ubusd_object *object)
{
    struct ubusd_object *later;
    list_for_each_entry(later, &ubusd_objects, list)
    {
        if (object->path != NULL && (later->path == NULL || strcmp(later->path, object->path) > 0))
            break;
    }
    list_add_tail(&object->list, &later->list);
}

struct ubusd_object *ubusd_add_object(struct ubusd_client *client,
                                      const char *path,
                                      struct ubusd_type *type)
{
    struct ubusd_object *object = calloc(1, sizeof(*object));
    char *copy = path != NULL ? strdup(path) : NULL;
    if (object == NULL || (path != NULL && copy == NULL)) {
        free(object);
        free(copy);
        return NULL;
    }
    object->id = ubusd_new_id(object_taken);
    object->path = copy;
    object->client = client;
    object->type = type;
    if (type != NULL) type->users++;
    insert(object);
    ubusd_event_object(object, "add");
    return object;
}

bool ubusd_remove_object(struct ubusd_object *object)
{
    list_del(&object->list);
    ubusd_event_forget(object);
    ubusd_event_object(object, "remove");
    const bool last = object->type != NULL && --object->type->users == 0;
    if (last) free_type(object->type);
    free(object->path);
    free(object);
    return last;
}

void ubusd_remove_objects_of(const struct ubusd_client *client)
{
    struct ubusd_object *object;
    struct ubusd_object *following;
    list_for_each_entry_safe(object, following, &ubusd_objects, list)
    {
        if (object->client == client) ubusd_remove_object(object);
    }
}
