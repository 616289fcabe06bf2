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

/* `line` is the decoded word of the line, without quotes. */
static int apply_line(struct uci_package *p, char *line)
{
    struct uci_change change = {.cmd = UCI_CMD_CHANGE};
    for (unsigned cmd = 0; cmd < __UCI_CMD_MAX; cmd++) {
        if (signs[cmd] == '\0' || signs[cmd] != line[0]) continue;
        change.cmd = (enum uci_command)cmd;
        line++;
        break;
    }
    struct uci_ptr ptr;
    const int result = uci_parse_ptr(p->ctx, &ptr, line);
    if (result != UCI_OK) return result;
    if (ptr.section == NULL || (ptr.flags & UCI_LOOKUP_EXTENDED) != 0) return UCI_ERR_INVAL;
    if (strcmp(ptr.package, p->e.name) != 0) return UCI_ERR_INVAL;
    change.section = ptr.section;
    change.option = ptr.option;
    change.value = ptr.value;
    return uci_apply(p, &change);
}

/* Applies the lines to `p` unless that is null. `*sound` is the length of the whole lines: a writer
 * that dies leaves a torn last one, which counts for nothing. */
static int read_lines(int fd, struct uci_package *p, unsigned *applied, off_t *sound)
{
    struct uci_text text;
    const int result = uci_text_open(&text, fd);
    while (result == UCI_OK && *text.at != '\0') {
        char *line = NULL;
        char *surplus = NULL;
        const int words = uci_text_word(&text, &line);
        const int more = words > 0 ? uci_text_word(&text, &surplus) : words;
        if (more < 0) break; /* an open quote reaches to the end of the file */
        uci_text_next(&text);
        if (text.at[-1] != '\n') break;
        *sound = text.at - text.raw;
        if (p != NULL && words > 0 && more == 0 && apply_line(p, line) == UCI_OK) (*applied)++;
    }
    uci_text_close(&text);
    return result;
}

unsigned uci_read_pending(struct uci_package *p, int fd)
{
    unsigned applied = 0;
    off_t sound = 0;
    (void)read_lines(fd, p, &applied, &sound); /* what cannot be read stays pending */
    return applied;
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
    off_t sound = 0;
    if (read_lines(fd, NULL, NULL, &sound) != UCI_OK || ftruncate(fd, sound) != 0)
        return UCI_ERR_IO;
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
