// SPDX-License-Identifier: ISC
/* Package files: read (keywords, sections, options) and written. */
#include <stdlib.h>
#include <string.h>

#include "internal.h"

struct reading {
    struct uci_package *p;
    struct uci_section *s; /* the section that options go to */
};

static int read_package_word(struct reading *to, char *const *words)
{
    (void)to; /* the file's name is the package's name */
    return uci_is_package(words[1]) ? UCI_OK : UCI_ERR_PARSE;
}

static int read_config(struct reading *to, char *const *words)
{
    const char *type = words[1];
    const char *name = words[2] == NULL || words[2][0] == '\0' ? NULL : words[2];
    if (!uci_is_type(type) || (name != NULL && !uci_is_name(name))) return UCI_ERR_PARSE;
    struct uci_element *known = name == NULL ? NULL : uci_find(&to->p->sections, name);
    if (known == NULL) {
        to->s = uci_section_new(to->p, type, name);
        return to->s == NULL ? UCI_ERR_MEM : UCI_OK;
    }
    to->s = uci_to_section(known);
    return strcmp(to->s->type, type) == 0 ? UCI_OK : UCI_ERR_PARSE;
}

static int read_option(struct reading *to, char *const *words)
{
    if (to->s == NULL || !uci_is_name(words[1])) return UCI_ERR_PARSE;
    if (words[2] == NULL || words[2][0] == '\0') return UCI_OK; /* no value, no option */
    return uci_option_put(to->s, words[1], words[2]);
}

static int read_list(struct reading *to, char *const *words)
{
    if (to->s == NULL || !uci_is_name(words[1])) return UCI_ERR_PARSE;
    return uci_option_append(to->s, words[1], words[2] == NULL ? "" : words[2]);
}

enum { MAX_WORDS = 3 };

static const struct {
    const char *word; /* or its first letter */
    int most;         /* words, the keyword included; two at least */
    int (*read)(struct reading *to, char *const *words);
} keywords[] = {
    {"package", 2, read_package_word},
    {"config", 3, read_config},
    {"option", 3, read_option},
    {"list", 3, read_list},
};

static int run_command(struct reading *to, char *const *words, int count)
{
    const char *word = words[0];
    for (size_t i = 0; i < sizeof(keywords) / sizeof(keywords[0]); i++) {
        const char *keyword = keywords[i].word;
        if (strcmp(word, keyword) != 0 && (word[0] != keyword[0] || word[1] != '\0')) continue;
        return count < 2 || count > keywords[i].most ? UCI_ERR_PARSE : keywords[i].read(to, words);
    }
    return UCI_ERR_PARSE;
}

/* The words of one command; their number, or -1 for too many, an open quote or a quoted keyword. */
static int take_words(struct uci_text *text, char *words[MAX_WORDS + 1])
{
    memset(words, 0, (MAX_WORDS + 1) * sizeof(*words));
    char *word = NULL;
    for (int count = 0;; count++) {
        const int result = uci_text_word(text, &word);
        if (result < 0) return -1;
        if (result == 0) return count;
        if (count == MAX_WORDS) return -1;
        if (count == 0 && text->quoted) return -1;
        words[count] = word;
    }
}

/* Behind a command: to the next one, on this line when a ';' stands apart from the last word. */
static int finish_command(struct uci_text *text, int count)
{
    if (*text->at != ';') {
        uci_text_next(text);
        return UCI_OK;
    }
    const bool apart = text->at == text->raw || strchr(" \t\r\v\f\n;", text->at[-1]) != NULL;
    if (!apart && !text->quoted) { /* sic: what follows an unquoted word directly is not read */
        uci_text_next(text);
        return UCI_OK;
    }
    text->at++;
    const size_t blanks = strspn(text->at, " \t\r\v\f");
    const char next = text->at[blanks];
    const bool last = next == '\n' || next == '\0';
    return last && !apart && count > 0 ? UCI_ERR_PARSE : UCI_OK;
}

static int read_commands(struct reading *to, struct uci_text *text)
{
    while (*text->at != '\0') {
        char *words[MAX_WORDS + 1];
        const int count = take_words(text, words);
        if (count < 0) return UCI_ERR_PARSE;
        int result = count == 0 ? UCI_OK : run_command(to, words, count);
        if (result == UCI_OK) result = finish_command(text, count);
        if (result != UCI_OK) return result;
    }
    return UCI_OK;
}

int uci_read_package(struct uci_package *p, int fd)
{
    struct reading to = {p, NULL};
    struct uci_text text;
    int result = uci_text_open(&text, fd);
    if (result == UCI_OK) result = text.damaged ? UCI_ERR_PARSE : read_commands(&to, &text);
    uci_text_close(&text);
    return result;
}

void uci_write_quoted(FILE *file, const char *text)
{
    (void)putc('\'', file);
    for (; *text != '\0'; text++) {
        if (*text == '\'')
            (void)fputs("'\\''", file);
        else
            (void)putc(*text, file);
    }
    (void)putc('\'', file);
}

/* Types stand bare unless they would read back as something else. */
static void write_type(FILE *file, const char *type)
{
    if (strpbrk(type, "'\"\\#;") == NULL)
        (void)fputs(type, file);
    else
        uci_write_quoted(file, type);
}

static void write_value(FILE *file, const char *keyword, const char *name, const char *value)
{
    (void)fprintf(file, "\t%s %s ", keyword, name);
    uci_write_quoted(file, value);
    (void)putc('\n', file);
}

static void write_option(FILE *file, struct uci_option *o)
{
    if (o->type == UCI_TYPE_STRING) {
        write_value(file, "option", o->e.name, o->v.string);
        return;
    }
    struct uci_element *item;
    uci_foreach_element(&o->v.list, item) write_value(file, "list", o->e.name, item->name);
}

void uci_write_package(FILE *file, struct uci_package *p)
{
    struct uci_element *e;
    struct uci_element *o;
    (void)putc('\n', file);
    uci_foreach_element(&p->sections, e)
    {
        const struct uci_section *s = uci_to_section(e);
        (void)fputs("config ", file);
        write_type(file, s->type);
        if (!s->anonymous) {
            (void)putc(' ', file);
            uci_write_quoted(file, s->e.name);
        }
        (void)putc('\n', file);
        uci_foreach_element(&uci_to_section(e)->options, o) write_option(file, uci_to_option(o));
        (void)putc('\n', file);
    }
}
