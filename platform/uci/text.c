// SPDX-License-Identifier: ISC
/* Words of a configuration text. Quotes: '...' literal, "..." with backslash, adjacent pieces join.
 */
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "internal.h"

static int read_all(int fd, char *buffer, size_t size, size_t *length)
{
    *length = 0;
    while (*length < size) {
        const ssize_t got = pread(fd, buffer + *length, size - *length, (off_t)*length);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return UCI_ERR_IO;
        if (got == 0) break;
        *length += (size_t)got;
    }
    return UCI_OK;
}

int uci_text_open(struct uci_text *text, int fd)
{
    memset(text, 0, sizeof(*text));
    struct stat st;
    if (fstat(fd, &st) != 0) return UCI_ERR_IO;
    const size_t size = (size_t)st.st_size;
    text->raw = malloc(size + 1);
    /* Decoding never lengthens a word, and the NUL behind it takes the place of a separator. */
    text->words = malloc(size + 1);
    if (text->raw == NULL || text->words == NULL) return UCI_ERR_MEM;
    size_t length = 0;
    const int result = read_all(fd, text->raw, size, &length);
    text->raw[length] = '\0';
    text->at = text->raw;
    for (size_t i = 0; i < length; i++) {
        if (text->raw[i] != '\0') continue;
        text->raw[i] = 1;
        text->damaged = true;
    }
    return result;
}

void uci_text_close(struct uci_text *text)
{
    free(text->raw);
    free(text->words);
}

static bool is_blank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

static bool is_end(char c)
{
    return c == '\0' || c == '\n' || c == '#' || c == ';';
}

static void put(struct uci_text *text, char c)
{
    text->words[text->used++] = c;
}

/* At a backslash: the next octet stands for itself, a line feed for nothing. */
static void take_escaped(struct uci_text *text)
{
    text->at++;
    if (*text->at == '\0') return;
    if (*text->at != '\n') put(text, *text->at);
    text->at++;
}

static bool take_quoted(struct uci_text *text)
{
    const char quote = *text->at++;
    while (*text->at != quote) {
        if (*text->at == '\0') return false;
        if (*text->at == '\\' && quote == '"')
            take_escaped(text);
        else
            put(text, *text->at++);
    }
    text->at++;
    return true;
}

int uci_text_word(struct uci_text *text, char **word)
{
    while (is_blank(*text->at))
        text->at++;
    if (is_end(*text->at)) return 0;
    *word = text->words + text->used;
    text->decoded = false;
    while (!is_end(*text->at) && !is_blank(*text->at)) {
        if (strchr("'\"\\", *text->at) != NULL) text->decoded = true;
        if (*text->at == '\'' || *text->at == '"') {
            if (!take_quoted(text)) return -1;
        } else if (*text->at == '\\') {
            take_escaped(text);
        } else {
            put(text, *text->at++);
        }
    }
    put(text, '\0');
    return 1;
}

void uci_text_next(struct uci_text *text)
{
    while (*text->at != '\0' && *text->at != '\n')
        text->at++;
    if (*text->at == '\n') text->at++;
    text->used = 0;
}
