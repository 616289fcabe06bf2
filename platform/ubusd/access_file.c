// SPDX-License-Identifier: ISC
/*
 * Bus broker: what an access file says. Of its keys, "user" or "group" tells whose it is; "access",
 * "publish", "subscribe", "listen" and "send" grant; others concern what this broker does not have.
 */
#include <grp.h>
#include <pwd.h>

#include <json-c/json.h>

#include "access.h"

/* Null unless `object` has a text of that name. */
static const char *text_of(struct json_object *object, const char *name)
{
    struct json_object *value = json_object_object_get(object, name);
    return json_object_is_type(value, json_type_string) ? json_object_get_string(value) : NULL;
}

/* Resolves names now: one that does not exist is nobody's, whatever number it may get later. */
static bool find_user(struct json_object *root, struct ubusd_subject *subject)
{
    const char *name = text_of(root, "user");
    const struct passwd *user = name != NULL ? getpwnam(name) : NULL;
    if (user != NULL) *subject = (struct ubusd_subject){.is_group = false, .id = user->pw_uid};
    return user != NULL;
}

static bool find_group(struct json_object *root, struct ubusd_subject *subject)
{
    const char *name = text_of(root, "group");
    const struct group *group = name != NULL ? getgrnam(name) : NULL;
    if (group != NULL) *subject = (struct ubusd_subject){.is_group = true, .id = group->gr_gid};
    return group != NULL;
}

static void grant_methods(const struct ubusd_subject *subject,
                          const char *pattern,
                          struct json_object *methods)
{
    ubusd_grant(subject, UBUSD_ACCESS, pattern, NULL);
    if (!json_object_is_type(methods, json_type_array)) return;
    for (size_t i = 0; i < json_object_array_length(methods); i++) {
        struct json_object *method = json_object_array_get_idx(methods, i);
        if (json_object_is_type(method, json_type_string))
            ubusd_grant(subject, UBUSD_ACCESS, pattern, json_object_get_string(method));
    }
}

static void grant_access(const struct ubusd_subject *subject, struct json_object *access)
{
    if (!json_object_is_type(access, json_type_object)) return;
    struct json_object_iterator at = json_object_iter_begin(access);
    const struct json_object_iterator end = json_object_iter_end(access);
    for (; !json_object_iter_equal(&at, &end); json_object_iter_next(&at)) {
        struct json_object *rights = json_object_iter_peek_value(&at);
        if (json_object_is_type(rights, json_type_object))
            grant_methods(subject, json_object_iter_peek_name(&at),
                          json_object_object_get(rights, "methods"));
    }
}

static void grant_names(const struct ubusd_subject *subject,
                        enum ubusd_right right,
                        struct json_object *names)
{
    if (!json_object_is_type(names, json_type_array)) return;
    for (size_t i = 0; i < json_object_array_length(names); i++) {
        struct json_object *name = json_object_array_get_idx(names, i);
        if (json_object_is_type(name, json_type_string))
            ubusd_grant(subject, right, json_object_get_string(name), NULL);
    }
}

static void grant_all(const struct ubusd_subject *subject, struct json_object *root)
{
    grant_access(subject, json_object_object_get(root, "access"));
    grant_names(subject, UBUSD_PUBLISH, json_object_object_get(root, "publish"));
    grant_names(subject, UBUSD_SUBSCRIBE, json_object_object_get(root, "subscribe"));
    grant_names(subject, UBUSD_LISTEN, json_object_object_get(root, "listen"));
    grant_names(subject, UBUSD_SEND, json_object_object_get(root, "send"));
}

const char *ubusd_access_parse(const char *text)
{
    struct json_object *root = json_tokener_parse(text);
    struct ubusd_subject subject;
    const char *error = NULL;
    if (!json_object_is_type(root, json_type_object)) {
        error = "not a JSON object";
    } else {
        const bool user = find_user(root, &subject);
        if (user) grant_all(&subject, root);
        const bool group = find_group(root, &subject);
        if (group) grant_all(&subject, root);
        if (!user && !group) error = "names no user or group that exists";
    }
    json_object_put(root);
    return error;
}
