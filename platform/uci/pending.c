// SPDX-License-Identifier: ISC
/* Pending files: one line for each change that was saved but not committed yet. */
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "internal.h"

static const char signs[__UCI_CMD_MAX] = {
    [UCI_CMD_ADD] = '+',      [UCI_CMD_REMOVE] = '-',  [UCI_CMD_CHANGE] = '\0',
    [UCI_CMD_RENAME] = '@',   [UCI_CMD_REORDER] = '^', [UCI_CMD_LIST_ADD] = '|',
    [UCI_CMD_LIST_DEL] = '~',
};

/* A sound line of a pending file. */
struct line {
    struct uci_change change;
    const char *raw;
    size_t length; /* of `raw`, with its line feed */
};

struct reader {
    struct uci_context *ctx;
    const char *name; /* of the package */
    void (*take)(const struct line *line, void *priv);
    void *priv;
};

/* `text` is the decoded word of the line, without quotes. */
static bool read_change(const struct reader *reader, char *text, struct uci_change *change)
{
    *change = (struct uci_change){.cmd = UCI_CMD_CHANGE};
    for (unsigned cmd = 0; cmd < __UCI_CMD_MAX; cmd++) {
        if (signs[cmd] == '\0' || signs[cmd] != text[0]) continue;
        change->cmd = (enum uci_command)cmd;
        text++;
        break;
    }
    struct uci_ptr ptr;
    if (uci_parse_ptr(reader->ctx, &ptr, text) != UCI_OK) return false;
    if (ptr.section == NULL || (ptr.flags & UCI_LOOKUP_EXTENDED) != 0) return false;
    change->section = ptr.section;
    change->option = ptr.option;
    change->value = ptr.value;
    return strcmp(ptr.package, reader->name) == 0;
}

/* `*sound` is the length of the whole lines: a writer that dies leaves a torn last one, which
 * counts for nothing. A null `take`: only that length is wanted. */
static int read_lines(int fd, const struct reader *reader, off_t *sound)
{
    struct uci_text text;
    const int result = uci_text_open(&text, fd);
    while (result == UCI_OK && *text.at != '\0') {
        struct line line = {.raw = text.at};
        char *word = NULL;
        char *surplus = NULL;
        const int words = uci_text_word(&text, &word);
        const int more = words > 0 ? uci_text_word(&text, &surplus) : words;
        if (more < 0) break; /* an open quote reaches to the end of the file */
        uci_text_next(&text);
        if (text.at[-1] != '\n') break;
        *sound = text.at - text.raw;
        line.length = (size_t)(text.at - line.raw);
        if (reader->take != NULL && words > 0 && more == 0 &&
            read_change(reader, word, &line.change))
            reader->take(&line, reader->priv);
    }
    uci_text_close(&text);
    return result;
}

struct application {
    struct uci_package *p;
    unsigned applied;
};

static void apply_line(const struct line *line, void *priv)
{
    struct application *to = priv;
    if (uci_apply(to->p, &line->change) == UCI_OK) to->applied++;
}

unsigned uci_read_pending(struct uci_package *p, int fd)
{
    struct application to = {.p = p};
    const struct reader reader = {p->ctx, p->e.name, apply_line, &to};
    off_t sound = 0;
    (void)read_lines(fd, &reader, &sound); /* what cannot be read stays pending */
    return to.applied;
}

unsigned uci_load_pending(struct uci_package *p, const char *dir)
{
    unsigned applied = 0;
    int fd = -1;
    char *path = uci_path(dir, p->e.name);
    if (path != NULL && uci_open(path, O_RDONLY, 0, LOCK_SH, &fd) == UCI_OK) {
        applied = uci_read_pending(p, fd);
        (void)close(fd);
    }
    free(path);
    return applied;
}

static void write_delta(FILE *file, const struct uci_package *p, const struct uci_delta *delta)
{
    if (signs[delta->cmd] != '\0') (void)putc(signs[delta->cmd], file);
    (void)fprintf(file, "%s.%s", p->e.name, delta->section);
    if (delta->e.name != NULL) (void)fprintf(file, ".%s", delta->e.name);
    if (delta->value != NULL) {
        (void)putc('=', file);
        uci_write_quoted(file, delta->value);
    }
    (void)putc('\n', file);
}

static int append_delta(struct uci_package *p, int fd)
{
    if (uci_list_empty(&p->delta)) return UCI_OK;
    const struct reader reader = {.ctx = p->ctx};
    off_t sound = 0;
    if (read_lines(fd, &reader, &sound) != UCI_OK || ftruncate(fd, sound) != 0) return UCI_ERR_IO;
    const int copy = fcntl(fd, F_DUPFD_CLOEXEC, 0);
    FILE *file = copy < 0 ? NULL : fdopen(copy, "a");
    if (file == NULL) {
        if (copy >= 0) (void)close(copy);
        return UCI_ERR_IO;
    }
    struct uci_element *e;
    uci_foreach_element(&p->delta, e) write_delta(file, p, uci_to_delta(e));
    const bool failed = ferror(file) != 0;
    if (fclose(file) != 0 || failed) return UCI_ERR_IO;
    uci_delta_free(&p->delta);
    return UCI_OK;
}

static unsigned mode_of(const char *path, unsigned otherwise)
{
    struct stat st;
    return stat(path, &st) == 0 ? st.st_mode & 0777 : otherwise;
}

int uci_append_pending(struct uci_package *p, int *fd)
{
    struct uci_context *ctx = p->ctx;
    if (mkdir(ctx->savedir, mode_of(ctx->confdir, 0700)) != 0 && errno != EEXIST) return UCI_ERR_IO;
    char *path = uci_path(ctx->savedir, p->e.name);
    if (path == NULL) return UCI_ERR_MEM;
    int result = uci_open(path, O_RDWR | O_CREAT, mode_of(p->path, 0600), LOCK_EX, fd);
    free(path);
    if (result != UCI_OK) return UCI_ERR_IO;
    result = append_delta(p, *fd);
    if (result != UCI_OK) (void)close(*fd);
    return result;
}

struct listing {
    void (*take)(const struct uci_change *change, void *priv);
    void *priv;
};

static void list_line(const struct line *line, void *priv)
{
    const struct listing *listing = priv;
    listing->take(&line->change, listing->priv);
}

/* The file may be missing: `*fd` is -1 then. */
static int open_pending(struct uci_context *ctx, const char *name, int flags, int lock, int *fd)
{
    char *path = uci_path(ctx->savedir, name);
    if (path == NULL) return UCI_ERR_MEM;
    const int result = uci_open(path, flags, 0, lock, fd);
    free(path);
    return result == UCI_ERR_NOTFOUND ? UCI_OK : result;
}

int uci_each_pending(struct uci_context *ctx,
                     const char *name,
                     void (*take)(const struct uci_change *change, void *priv),
                     void *priv)
{
    struct listing listing = {take, priv};
    const struct reader reader = {ctx, name, list_line, &listing};
    off_t sound = 0;
    int fd = -1;
    int result = open_pending(ctx, name, O_RDONLY, LOCK_SH, &fd);
    if (fd < 0) return ctx->err = result;
    result = read_lines(fd, &reader, &sound);
    (void)close(fd);
    return ctx->err = result;
}

struct revision {
    const char *section;
    const char *option;
    FILE *kept;
};

static void keep_line(const struct line *line, void *priv)
{
    const struct revision *revision = priv;
    const struct uci_change *change = &line->change;
    const bool of_section =
        revision->section == NULL || strcmp(revision->section, change->section) == 0;
    const bool of_option =
        revision->option == NULL ||
        (change->option != NULL && strcmp(revision->option, change->option) == 0);
    if (!of_section || !of_option) (void)fwrite(line->raw, 1, line->length, revision->kept);
}

/* Writes what is kept over what was there; the lock is held. */
static int rewrite(int fd, const char *text, size_t length)
{
    if (ftruncate(fd, 0) != 0) return UCI_ERR_IO;
    return pwrite(fd, text, length, 0) == (ssize_t)length ? UCI_OK : UCI_ERR_IO;
}

int uci_drop_pending(struct uci_context *ctx,
                     const char *name,
                     const char *section,
                     const char *option)
{
    char *text = NULL;
    size_t length = 0;
    struct revision revision = {section, option, NULL};
    const struct reader reader = {ctx, name, keep_line, &revision};
    off_t sound = 0;
    int fd = -1;
    int result = open_pending(ctx, name, O_RDWR, LOCK_EX, &fd);
    if (fd < 0) return ctx->err = result;
    revision.kept = open_memstream(&text, &length);
    result = revision.kept == NULL ? UCI_ERR_MEM : read_lines(fd, &reader, &sound);
    if (revision.kept != NULL && fclose(revision.kept) != 0) result = UCI_ERR_MEM;
    if (result == UCI_OK) result = rewrite(fd, text, length);
    free(text);
    (void)close(fd);
    return ctx->err = result;
}
