// SPDX-License-Identifier: ISC
/*
 * Bus broker: who may do what. Root and the broker's own user may do everything, everybody else
 * what the access files grant.
 */
#ifndef UBUSD_ACCESS_H
#define UBUSD_ACCESS_H

#include <stdbool.h>
#include <sys/types.h>

/* Whom a connection speaks for, as the kernel tells. */
struct ubusd_peer {
    uid_t uid;
    gid_t *groups; /* the primary one and the supplementary ones; on the heap */
    size_t group_count;
};

enum ubusd_right {
    UBUSD_ACCESS,    /* see an object, call its methods */
    UBUSD_PUBLISH,   /* register an object under a name */
    UBUSD_SUBSCRIBE, /* get an object's notifications */
    UBUSD_LISTEN,    /* get events of a name */
    UBUSD_SEND       /* send them */
};

/* Whose a grant is. */
struct ubusd_subject {
    bool is_group;
    id_t id;
};

/* False without memory. */
bool ubusd_peer_read(int fd, struct ubusd_peer *peer);
void ubusd_peer_free(struct ubusd_peer *peer);

/* `name` is an object's or an event's; null, for an object without one, is granted to nobody.
 * `method` counts for UBUSD_ACCESS only; null: it is enough that anything at all is granted. */
bool ubusd_permits(const struct ubusd_peer *peer,
                   enum ubusd_right right,
                   const char *name,
                   const char *method);

/* True for an equal name, and for one that begins with what stands before a final '*'. */
bool ubusd_matches(const char *pattern, const char *name);

/* Forgets all grants and reads those of the files FOLDER/<any>.json. */
void ubusd_access_load(const char *folder);

/* Adds one grant; without memory there is one grant less. */
void ubusd_grant(const struct ubusd_subject *subject,
                 enum ubusd_right right,
                 const char *pattern,
                 const char *method);

/* access_file.c, where there is json-c: adds the grants of a file's text; what is wrong with it, or
 * null. */
const char *ubusd_access_parse(const char *text);

#endif
