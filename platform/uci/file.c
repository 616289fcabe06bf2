// SPDX-License-Identifier: ISC
/* Package files on disk: opened under the lock, loaded, and replaced in one step. */
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "internal.h"

char *uci_path(const char *dir, const char *name)
{
    char *path = NULL;
    return asprintf(&path, "%s/%s", dir, name) < 0 ? NULL : path;
}

static int wait_for_lock(int fd, int lock)
{
    int result = flock(fd, lock);
    while (result != 0 && errno == EINTR)
        result = flock(fd, lock);
    return result;
}

/* Nothing of that name, or something that can be no package. */
static bool is_absent(int error)
{
    return error == ENOENT || error == ENOTDIR || error == EISDIR || error == ENXIO;
}

/* Far more than writers can follow each other; ends the attempts on a file system whose numbers for
 * an open file and for its name differ. */
enum { MAX_ATTEMPTS = 100 };

int uci_open(const char *path, int flags, unsigned mode, int lock, int *fd)
{
    for (unsigned attempt = 1;; attempt++) {
        /* Non-blocking: a pipe of that name must not hold us up. */
        *fd = open(path, flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, mode);
        if (*fd < 0) return is_absent(errno) ? UCI_ERR_NOTFOUND : UCI_ERR_IO;
        struct stat ours;
        struct stat named;
        const bool known = fstat(*fd, &ours) == 0;
        int result = UCI_ERR_IO;
        if (known && !S_ISREG(ours.st_mode))
            result = UCI_ERR_NOTFOUND;
        else if (known && wait_for_lock(*fd, lock) == 0)
            result = UCI_OK;
        /* Whoever held the lock may have put a new file in its place. */
        const bool same = result != UCI_OK || attempt == MAX_ATTEMPTS || stat(path, &named) != 0 ||
                          (named.st_dev == ours.st_dev && named.st_ino == ours.st_ino);
        if (result == UCI_OK && same) return UCI_OK;
        (void)close(*fd);
        *fd = -1;
        if (result != UCI_OK) return result;
    }
}

int uci_read_file(struct uci_context *ctx,
                  const char *name,
                  const char *path,
                  int fd,
                  struct uci_package **package)
{
    struct uci_package *p = uci_package_new(ctx, name, path);
    if (p == NULL) return UCI_ERR_MEM;
    const int result = uci_read_package(p, fd);
    if (result == UCI_OK)
        *package = p;
    else
        uci_package_free(p);
    return result;
}

/* The override directory's file, else the one of the configuration directory. */
static char *find_file(struct uci_context *ctx, const char *name)
{
    struct stat st;
    if (ctx->conf2dir != NULL) {
        char *path = uci_path(ctx->conf2dir, name);
        if (path == NULL || (stat(path, &st) == 0 && S_ISREG(st.st_mode))) return path;
        free(path);
    }
    return uci_path(ctx->confdir, name);
}

static int load(struct uci_context *ctx,
                const char *name,
                const char *path,
                struct uci_package **package)
{
    int fd = -1;
    int result = uci_open(path, O_RDONLY, 0, LOCK_SH, &fd);
    if (result != UCI_OK) return result;
    result = uci_read_file(ctx, name, path, fd, package);
    if (result == UCI_OK) {
        /* Still under the lock: a commit must not move a change from there to here unseen. */
        struct uci_element *dir;
        uci_foreach_element(&ctx->delta_path, dir)
        {
            if (strcmp(dir->name, ctx->savedir) != 0) (void)uci_load_pending(*package, dir->name);
        }
        (void)uci_load_pending(*package, ctx->savedir);
        uci_list_add(&ctx->root, &(*package)->e);
    }
    (void)close(fd);
    return result;
}

int uci_load(struct uci_context *ctx, const char *name, struct uci_package **package)
{
    if (ctx == NULL) return UCI_ERR_INVAL;
    if (package != NULL) *package = NULL;
    if (name == NULL || !uci_is_package(name)) return ctx->err = UCI_ERR_INVAL;
    if (uci_find(&ctx->root, name) != NULL) return ctx->err = UCI_ERR_DUPLICATE;
    char *path = find_file(ctx, name);
    struct uci_package *loaded = NULL;
    ctx->err = UCI_ERR_MEM;
    if (path != NULL) ctx->err = load(ctx, name, path, &loaded);
    free(path);
    if (package != NULL) *package = loaded;
    return ctx->err;
}

int uci_save(struct uci_context *ctx, struct uci_package *p)
{
    if (ctx == NULL) return UCI_ERR_INVAL;
    if (p == NULL) return ctx->err = UCI_ERR_INVAL;
    if (uci_list_empty(&p->delta)) return ctx->err = UCI_OK;
    int fd = -1;
    ctx->err = uci_append_pending(p, &fd);
    if (fd >= 0) (void)close(fd);
    return ctx->err;
}

/* The directory of a path that has a slash; the path itself is cut. */
static int sync_directory(char *path)
{
    char *slash = strrchr(path, '/');
    if (slash == NULL) return -1;
    slash[slash == path ? 1 : 0] = '\0';
    const int fd = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return -1;
    const int result = fsync(fd);
    (void)close(fd);
    return result;
}

static int write_temporary(struct uci_package *p, int fd, mode_t mode)
{
    FILE *file = fdopen(fd, "w");
    if (file == NULL) {
        (void)close(fd);
        return UCI_ERR_IO;
    }
    uci_write_package(file, p);
    const bool failed =
        fflush(file) != 0 || ferror(file) != 0 || fchmod(fd, mode) != 0 || fsync(fd) != 0;
    return fclose(file) != 0 || failed ? UCI_ERR_IO : UCI_OK;
}

/* Makes a complete new file beside the old one and renames it over the old one's true place, so a
 * symbolic link stays and a crash leaves the old file or the new one. */
static int replace_file(struct uci_package *p, int old)
{
    struct stat st;
    if (fstat(old, &st) != 0) return UCI_ERR_IO;
    char *target = realpath(p->path, NULL);
    const char *slash = strrchr(p->path, '/');
    char *temporary = NULL;
    if (asprintf(&temporary, "%.*s/.%s.uci-XXXXXX", (int)(slash - p->path), p->path, p->e.name) < 0)
        temporary = NULL;
    int result = target == NULL || temporary == NULL ? UCI_ERR_IO : UCI_OK;
    const int fd = result == UCI_OK ? mkostemp(temporary, O_CLOEXEC) : -1;
    if (fd >= 0) {
        result = write_temporary(p, fd, st.st_mode & 07777);
        if (result == UCI_OK && rename(temporary, target) != 0) result = UCI_ERR_IO;
        if (result != UCI_OK) (void)unlink(temporary);
        /* The new file is in place: a directory that cannot be synced is no failed commit. */
        if (result == UCI_OK) (void)sync_directory(target);
    } else {
        result = UCI_ERR_IO;
    }
    free(temporary);
    free(target);
    return result;
}

/* The file as others left it, with everybody's pending changes; written if there are any. */
static int merge(struct uci_package **package, int fd, int pending)
{
    struct uci_package *p = *package;
    struct uci_context *ctx = p->ctx;
    struct uci_package *merged = NULL;
    int result = uci_read_file(ctx, p->e.name, p->path, fd, &merged);
    if (result != UCI_OK) return result;
    const unsigned applied = uci_read_pending(merged, pending);
    uci_package_free(p);
    uci_list_add(&ctx->root, &merged->e);
    *package = merged;
    if (applied == 0) return UCI_OK;
    result = replace_file(merged, fd);
    /* Emptied last: after a crash in between, the changes are applied once more. */
    if (result == UCI_OK && ftruncate(pending, 0) != 0) result = UCI_ERR_IO;
    return result;
}

static int commit(struct uci_package **package, bool overwrite)
{
    struct uci_package *p = *package;
    int fd = -1;
    int pending = -1;
    int result = uci_open(p->path, O_RDWR | O_CREAT, 0600, LOCK_EX, &fd);
    if (result != UCI_OK) return UCI_ERR_IO;
    if (overwrite) {
        result = replace_file(p, fd);
        if (result == UCI_OK) uci_delta_free(&p->delta);
    } else {
        result = uci_append_pending(p, &pending);
        if (result == UCI_OK) result = merge(package, fd, pending);
        if (pending >= 0) (void)close(pending);
    }
    (void)close(fd);
    return result;
}

int uci_commit(struct uci_context *ctx, struct uci_package **package, bool overwrite)
{
    if (ctx == NULL) return UCI_ERR_INVAL;
    if (package == NULL || *package == NULL) return ctx->err = UCI_ERR_INVAL;
    /* Parsing the pending file leaves its own results in `err`. */
    const int result = commit(package, overwrite);
    return ctx->err = result;
}
