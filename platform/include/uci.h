// SPDX-License-Identifier: ISC
/* Configuration packages: read, look up, change and commit them.
 *
 * Every function returns a UCI_ code and leaves the same code in the context's `err`. A context
 * belongs to one thread at a time; different threads use different contexts. Loading waits for
 * the file lock while another program commits. */
#ifndef UCI_H
#define UCI_H

#ifdef __cplusplus
extern "C" {
#endif

#include <stdbool.h>
#include <stddef.h>

#define UCI_CONFDIR "/etc/config"
#define UCI_CONF2DIR "/var/run/uci"
#define UCI_SAVEDIR "/tmp/.uci"

enum {
    UCI_OK = 0,
    UCI_ERR_MEM,
    UCI_ERR_INVAL,
    UCI_ERR_NOTFOUND,
    UCI_ERR_IO,
    UCI_ERR_PARSE,
    UCI_ERR_DUPLICATE,
    UCI_ERR_UNKNOWN,
    UCI_ERR_LAST
};

enum uci_type {
    UCI_TYPE_UNSPEC = 0,
    UCI_TYPE_DELTA = 1,
    UCI_TYPE_PACKAGE = 2,
    UCI_TYPE_SECTION = 3,
    UCI_TYPE_OPTION = 4,
    UCI_TYPE_PATH = 5,
    UCI_TYPE_BACKEND = 6,
    UCI_TYPE_ITEM = 7
};

enum uci_option_type { UCI_TYPE_STRING = 0, UCI_TYPE_LIST = 1 };

enum uci_flags {
    UCI_FLAG_STRICT = 1 << 0,
    UCI_FLAG_PERROR = 1 << 1,
    UCI_FLAG_EXPORT_NAME = 1 << 2,
    UCI_FLAG_SAVED_DELTA = 1 << 3
};

enum uci_command {
    UCI_CMD_ADD,
    UCI_CMD_REMOVE,
    UCI_CMD_CHANGE,
    UCI_CMD_RENAME,
    UCI_CMD_REORDER,
    UCI_CMD_LIST_ADD,
    UCI_CMD_LIST_DEL,
    __UCI_CMD_MAX
};

/* Ring with a head that is no element. */
struct uci_list {
    struct uci_list *next;
    struct uci_list *prev;
};

struct uci_parse_context;
struct uci_backend;
struct uci_context;
struct uci_package;
struct uci_section;

/* First member of everything that has a name and stands in a list. */
struct uci_element {
    struct uci_list list;
    enum uci_type type;
    char *name;
};

struct uci_context {
    struct uci_list root; /* loaded packages */
    struct uci_parse_context *pctx;
    struct uci_backend *backend;
    struct uci_list backends;
    enum uci_flags flags;
    char *confdir;
    char *savedir;
    struct uci_list delta_path; /* directories of pending changes */
    int err;
    const char *func;
    char *conf2dir; /* null: no override directory */
};

struct uci_package {
    struct uci_element e;
    struct uci_list sections;
    struct uci_context *ctx;
    bool has_delta;
    char *path;
    struct uci_backend *backend;
    void *priv;
    int n_section;         /* sections made so far, for generated names */
    struct uci_list delta; /* own changes that are not saved yet */
    struct uci_list saved_delta;
};

struct uci_section {
    struct uci_element e;
    struct uci_list options;
    struct uci_package *package;
    bool anonymous; /* the name was generated */
    char *type;
};

struct uci_option {
    struct uci_element e;
    struct uci_section *section;
    enum uci_option_type type;
    union {
        struct uci_list list; /* of elements whose name is the text */
        char *string;
    } v;
};

/* A change of an option, or of a section where the element's name is null. */
struct uci_delta {
    struct uci_element e;
    enum uci_command cmd;
    char *section;
    char *value;
};

struct uci_ptr {
    enum uci_type target;
    enum {
        UCI_LOOKUP_DONE = (1 << 0),
        UCI_LOOKUP_COMPLETE = (1 << 1),
        UCI_LOOKUP_EXTENDED = (1 << 2)
    } flags;
    struct uci_package *p;
    struct uci_section *s;
    struct uci_option *o;
    struct uci_element *last;
    const char *package;
    const char *section;
    const char *option;
    const char *value;
};

/* Null without memory. Touches no file. */
struct uci_context *uci_alloc_context(void);

/* Frees loaded packages too; what was neither saved nor committed is lost. */
void uci_free_context(struct uci_context *ctx);

/* Text of the last error in `*dest`, to be freed by the caller (null without memory); a null
 * `dest` prints it to the standard error output. */
void uci_get_errorstr(struct uci_context *ctx, char **dest, const char *prefix);

int uci_set_confdir(struct uci_context *ctx, const char *dir);
int uci_set_conf2dir(struct uci_context *ctx, const char *dir);

/* Where uci_save writes. Directories named before are still read. */
int uci_set_savedir(struct uci_context *ctx, const char *dir);
int uci_add_delta_path(struct uci_context *ctx, const char *dir);

/* Names of all packages, null at the end, in one block that the caller frees. */
int uci_list_configs(struct uci_context *ctx, char ***list);

/* The file with the pending changes of all programs applied. */
int uci_load(struct uci_context *ctx, const char *name, struct uci_package **package);

/* Splits "package[.section[.option]][=value]" in place: `ptr` points into `str` from then on. */
int uci_parse_ptr(struct uci_context *ctx, struct uci_ptr *ptr, char *str);

/* Splits `str` (null: `ptr` is split already) and looks it up. A missing section or option is
 * no error: found means UCI_LOOKUP_COMPLETE. `extended` permits "@type[index]" sections. */
int uci_lookup_ptr(struct uci_context *ctx, struct uci_ptr *ptr, char *str, bool extended);

/* Changes the package in memory and records the change. An empty value deletes. */
int uci_set(struct uci_context *ctx, struct uci_ptr *ptr);

/* Appends the recorded changes to the pending file. */
int uci_save(struct uci_context *ctx, struct uci_package *p);

/* Writes the package with all pending changes; `*package` is renewed, pointers to its parts die.
 * `overwrite`: writes what is in memory, whatever the file holds. */
int uci_commit(struct uci_context *ctx, struct uci_package **package, bool overwrite);

static inline struct uci_element *list_to_element(struct uci_list *list)
{
    return (struct uci_element *)(void *)((char *)list - offsetof(struct uci_element, list));
}

#define uci_foreach_element(_list, _ptr)                                    \
    for ((_ptr) = list_to_element((_list)->next); &(_ptr)->list != (_list); \
         (_ptr) = list_to_element((_ptr)->list.next))

#define uci_foreach_element_safe(_list, _tmp, _ptr)                                            \
    for ((_ptr) = list_to_element((_list)->next), (_tmp) = list_to_element((_ptr)->list.next); \
         &(_ptr)->list != (_list); (_ptr) = (_tmp), (_tmp) = list_to_element((_ptr)->list.next))

static inline bool uci_list_empty(struct uci_list *list)
{
    return list->next == list;
}

#define UCI_BUILD_CAST(_name, _type)                                  \
    static inline struct _type *uci_to_##_name(struct uci_element *e) \
    {                                                                 \
        return (struct _type *)(void *)e;                             \
    }

UCI_BUILD_CAST(delta, uci_delta)
UCI_BUILD_CAST(package, uci_package)
UCI_BUILD_CAST(section, uci_section)
UCI_BUILD_CAST(option, uci_option)

#undef UCI_BUILD_CAST

#ifdef __cplusplus
}
#endif

#endif
