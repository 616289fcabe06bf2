// SPDX-License-Identifier: ISC
/*
 * Bus broker: peers, grants, and the files that are trusted to make them.
 */
#include "access.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <libubox/list.h>

#define TEXT_MAX 65536 /* octets of an access file */

struct grant {
    struct list_head list;
    struct ubusd_subject subject;
    enum ubusd_right right;
    char *method; /* null: none; "*": all */
    char pattern[];
};

static LIST_HEAD(grants);

/* The supplementary groups, behind the primary one that is there already. */
static bool add_groups(int fd, struct ubusd_peer *peer)
{
    socklen_t size = 0;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, NULL, &size) == 0 || errno != ERANGE) return true;
    gid_t *groups = realloc(peer->groups, sizeof(gid_t) + size);
    if (groups == NULL) return false;
    peer->groups = groups;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, groups + 1, &size) == 0)
        peer->group_count += size / sizeof(gid_t);
    return true;
}

bool ubusd_peer_read(int fd, struct ubusd_peer *peer)
{
    struct ucred credentials;
    socklen_t size = sizeof(credentials);
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return false;
    peer->uid = credentials.uid;
    peer->groups = malloc(sizeof(gid_t));
    if (peer->groups == NULL) return false;
    peer->groups[0] = credentials.gid;
    peer->group_count = 1;
    return add_groups(fd, peer);
}

void ubusd_peer_free(struct ubusd_peer *peer)
{
    free(peer->groups);
}

static bool speaks_for(const struct ubusd_peer *peer, const struct ubusd_subject *subject)
{
    if (!subject->is_group) return peer->uid == subject->id;
    for (size_t i = 0; i < peer->group_count; i++) {
        if (peer->groups[i] == subject->id) return true;
    }
    return false;
}

bool ubusd_matches(const char *pattern, const char *name)
{
    const size_t len = strlen(pattern);
    if (len > 0 && pattern[len - 1] == '*') return strncmp(pattern, name, len - 1) == 0;
    return strcmp(pattern, name) == 0;
}

bool ubusd_permits(const struct ubusd_peer *peer,
                   enum ubusd_right right,
                   const char *name,
                   const char *method)
{
    if (peer->uid == 0 || peer->uid == geteuid()) return true;
    const struct grant *grant;
    list_for_each_entry(grant, &grants, list)
    {
        if (name == NULL || grant->right != right || !speaks_for(peer, &grant->subject) ||
            !ubusd_matches(grant->pattern, name))
            continue;
        if (method == NULL) return true;
        if (grant->method == NULL) continue;
        if (strcmp(grant->method, method) == 0 || strcmp(grant->method, "*") == 0) return true;
    }
    return false;
}

void ubusd_grant(const struct ubusd_subject *subject,
                 enum ubusd_right right,
                 const char *pattern,
                 const char *method)
{
    const size_t size = strlen(pattern) + 1;
    struct grant *grant = calloc(1, sizeof(*grant) + size);
    if (grant == NULL) return;
    grant->subject = *subject;
    grant->right = right;
    memcpy(grant->pattern, pattern, size);
    if (method != NULL && (grant->method = strdup(method)) == NULL) {
        free(grant);
        return;
    }
    list_add_tail(&grant->list, &grants);
}

static void forget_grants(void)
{
    struct grant *grant;
    struct grant *following;
    list_for_each_entry_safe(grant, following, &grants, list)
    {
        free(grant->method);
        free(grant);
    }
    INIT_LIST_HEAD(&grants);
}

/* Nobody but root and our own user can have written it. */
static bool is_trusted(int fd, mode_t type)
{
    struct stat info;
    return fstat(fd, &info) == 0 && (info.st_mode & S_IFMT) == type &&
           (info.st_mode & (S_IWGRP | S_IWOTH)) == 0 &&
           (info.st_uid == 0 || info.st_uid == geteuid());
}

#ifndef UBUSD_JSON
const char *ubusd_access_parse(const char *text)
{
    (void)text;
    return "this broker was built without json-c and reads no access files";
}
#endif

static const char *load_file(int folder, const char *name)
{
    static char text[TEXT_MAX];
    const int fd = openat(folder, name, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return strerror(errno);
    const char *error = "not trusted: it must be a file that only root can write";
    if (is_trusted(fd, S_IFREG)) {
        const ssize_t got = read(fd, text, sizeof(text) - 1);
        text[got > 0 ? got : 0] = '\0';
        error = got == sizeof(text) - 1 ? "too long" : ubusd_access_parse(text);
    }
    close(fd);
    return error;
}

void ubusd_access_load(const char *folder)
{
    static const char ending[] = ".json";
    forget_grants();
    DIR *entries = opendir(folder);
    if (entries == NULL) return; /* no files, no grants */
    const int fd = dirfd(entries);
    if (!is_trusted(fd, S_IFDIR)) {
        syslog(LOG_ERR, "%s: not trusted: others than root can write in it", folder);
    } else {
        for (const struct dirent *entry; (entry = readdir(entries)) != NULL;) {
            const size_t len = strlen(entry->d_name);
            if (len < sizeof(ending) ||
                strcmp(entry->d_name + len + 1 - sizeof(ending), ending) != 0)
                continue;
            const char *error = load_file(fd, entry->d_name);
            if (error != NULL) syslog(LOG_ERR, "%s/%s: %s", folder, entry->d_name, error);
        }
    }
    closedir(entries);
}
