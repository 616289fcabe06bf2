// SPDX-License-Identifier: ISC
/* Package files: read (keywords, sections, options) and written. */
#include <ctype.h>
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

static const struct keyword {
    const char *word; /* or its first letter */
    int most;         /* words, the keyword included; two at least */
    int (*read)(struct reading *to, char *const *words);
} keywords[] = {
    {"package", 2, read_package_word},
    {"config", 3, read_config},
    {"option", 3, read_option},
    {"list", 3, read_list},
};

static const struct keyword *find_keyword(const char *word)
{
    for (size_t i = 0; i < sizeof(keywords) / sizeof(keywords[0]); i++) {
        const char *full = keywords[i].word;
        if (strcmp(word, full) == 0 || (word[0] == full[0] && word[1] == '\0')) return &keywords[i];
    }
    return NULL;
}

/* The words of one command; their number, or -1 for too many, for an open quote and for a keyword
 * that does not stand bare before a blank. */
static int take_words(struct uci_text *text, char *words[MAX_WORDS + 1])
{
    memset(words, 0, (MAX_WORDS + 1) * sizeof(*words));
    char *word = NULL;
    for (int count = 0;; count++) {
        const int result = uci_text_word(text, &word);
        if (result < 0) return -1;
        if (result == 0) return count;
        if (count == MAX_WORDS) return -1;
        if (count == 0 && (text->decoded || (*text->at != ' ' && *text->at != '\t'))) return -1;
        words[count] = word;
    }
}

/* Behind a command. A ';' directly after a bare word hides the rest of the line; another one parts
 * two complete commands of a line, and is an error elsewhere. */
static int finish_command(struct uci_text *text, bool complete)
{
    const bool apart = text->decoded || strchr(" \t\r\v\f", text->at[-1]) != NULL;
    if (*text->at != ';' || !apart) {
        uci_text_next(text);
        return UCI_OK;
    }
    text->at++;
    text->at += strspn(text->at, " \t");
    return complete && isalpha((unsigned char)*text->at) ? UCI_OK : UCI_ERR_PARSE;
}

static int read_command(struct reading *to, struct uci_text *text)
{
    char *words[MAX_WORDS + 1];
    const int count = take_words(text, words);
    if (count == 0 && *text->at != ';') { /* nothing but blanks and a comment */
        uci_text_next(text);
        return UCI_OK;
    }
    const struct keyword *keyword = count > 0 ? find_keyword(words[0]) : NULL;
    if (keyword == NULL || count < 2 || count > keyword->most) return UCI_ERR_PARSE;
    const int result = keyword->read(to, words);
    return result == UCI_OK ? finish_command(text, count == keyword->most) : result;
}

static int read_commands(struct reading *to, struct uci_text *text)
{
    int result = UCI_OK;
    while (result == UCI_OK && *text->at != '\0')
        result = read_command(to, text);
    return result;
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
