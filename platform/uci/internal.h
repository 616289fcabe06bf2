// SPDX-License-Identifier: ISC
/* Inside of the configuration library: the package tree, the text reader and the files. */
#ifndef UCI_INTERNAL_H
#define UCI_INTERNAL_H

#include <stdio.h>

#pragma GCC visibility push(default)
#include <uci.h>
#pragma GCC visibility pop

/* Names */

bool uci_is_name(const char *text);    /* sections and options */
bool uci_is_package(const char *text); /* the same and '-' */
bool uci_is_type(const char *text);    /* section types */

/* Tree. Functions that make something return null, or UCI_ERR_MEM, without memory. */

void uci_list_init(struct uci_list *list);
void uci_list_add(struct uci_list *list, struct uci_element *e); /* at the end */
void uci_list_del(struct uci_element *e);
struct uci_element *uci_find(struct uci_list *list, const char *name);

/* A zeroed block of `size` octets that begins with a struct uci_element; a null name stays null. */
void *uci_element_new(size_t size, enum uci_type type, const char *name);
void uci_element_free(struct uci_element *e);
void uci_list_free(struct uci_list *list); /* of plain elements */

struct uci_package *uci_package_new(struct uci_context *ctx, const char *name, const char *path);
void uci_package_free(struct uci_package *p);
void uci_delta_free(struct uci_list *list);

/* A null name makes an unnamed section. */
struct uci_section *uci_section_new(struct uci_package *p, const char *type, const char *name);
void uci_section_free(struct uci_section *s);

struct uci_option *uci_option_find(struct uci_section *s, const char *name);
int uci_option_put(struct uci_section *s, const char *name, const char *value);
int uci_option_append(struct uci_section *s, const char *name, const char *item);
void uci_option_free(struct uci_option *o);

/* Changes */

struct uci_change {
    enum uci_command cmd;
    const char *section;
    const char *option; /* null: the section itself */
    const char *value;  /* null where the command needs none */
};

/* UCI_ERR_NOTFOUND or UCI_ERR_INVAL when the package has no place for the change. */
int uci_apply(struct uci_package *p, const struct uci_change *change);
int uci_record(struct uci_package *p, const struct uci_change *change);

/* Files. A path is composed with uci_path and freed by its owner. */

char *uci_path(const char *dir, const char *name);

/* Opens a regular file and locks it (LOCK_SH or LOCK_EX), waiting for other holders; the descriptor
 * always belongs to the file that bears the name once the lock is held. UCI_ERR_NOTFOUND when there
 * is no such regular file, UCI_ERR_IO otherwise. */
int uci_open(const char *path, int flags, unsigned mode, int lock, int *fd);

/* Reads the package file into an empty package: UCI_OK, UCI_ERR_PARSE, _IO or _MEM. */
int uci_read_package(struct uci_package *p, int fd);
void uci_write_package(FILE *file, struct uci_package *p);
void uci_write_quoted(FILE *file, const char *text);

/* The pending file `name` of the save directory, without and with a lock. */

/* Calls `take` for each change in it; UCI_OK where there is no such file, too. */
int uci_each_pending(struct uci_context *ctx,
                     const char *name,
                     void (*take)(const struct uci_change *change, void *priv),
                     void *priv);
/* Takes out the changes of a section (null: of all) or of one option of it (null: of all). */
int uci_drop_pending(struct uci_context *ctx,
                     const char *name,
                     const char *section,
                     const char *option);

/* Applies what can be applied of the pending file; returns the number of changes. */
unsigned uci_read_pending(struct uci_package *p, int fd);
unsigned uci_load_pending(struct uci_package *p, const char *dir);
/* Appends own changes to the pending file of the save directory. `*fd` stays open and locked. */
int uci_append_pending(struct uci_package *p, int *fd);

/* The package as its file, already open and locked, has it: made but not linked into the context.
 */
int uci_read_file(struct uci_context *ctx,
                  const char *name,
                  const char *path,
                  int fd,
                  struct uci_package **package);

/* Text reader: words of a file in memory, in the quoting of packages and pending files */

struct uci_text {
    char *raw;   /* the file and a NUL */
    char *at;    /* next octet to read */
    char *words; /* decoded words of the current command */
    size_t used;
    bool decoded; /* the last word has quotes or backslashes */
    bool damaged; /* the file has NUL octets, here replaced by 0x01 */
};

int uci_text_open(struct uci_text *text, int fd);
void uci_text_close(struct uci_text *text);

/* 1 and the next word of this command, 0 at its end (line feed, ';', '#' or NUL), -1 when a quote
 * stays open until the end of the file. Words live until uci_text_next. */
int uci_text_word(struct uci_text *text, char **word);
void uci_text_next(struct uci_text *text); /* skips the rest of the line and its line feed */

#endif
