// SPDX-License-Identifier: ISC
// Package and pending files of any octets: what can be read, a commit writes, and it reads back as
// the same. An input is the package file, a NUL and the pending file.
#include <algorithm>
#include <string>

#include "fuzz/folder.h"
#include "fuzz/mutate.h"

namespace
{

void add(std::string &text, char mark, const char *word)
{
    text += mark;
    text += word;
    text += '\0';
}

// Everything that the package holds, but for generated names.
std::string describe(uci_package *p)
{
    std::string text;
    uci_element *e;
    uci_element *o;
    uci_element *item;
    uci_foreach_element(&p->sections, e)
    {
        uci_section *s = uci_to_section(e);
        add(text, 'S', s->type);
        if (!s->anonymous) add(text, 'N', e->name);
        uci_foreach_element(&s->options, o)
        {
            const uci_option *option = uci_to_option(o);
            add(text, 'O', o->name);
            if (option->type == UCI_TYPE_STRING) {
                add(text, 'V', option->v.string);
                continue;
            }
            uci_foreach_element(&uci_to_option(o)->v.list, item) add(text, 'L', item->name);
        }
    }
    return text;
}

// A new context's view; "" too when the package cannot be read.
std::string load(int &result)
{
    uci_context *ctx = uci_alloc_context();
    uci_package *p = nullptr;
    result = uci_load(ctx, "demo", &p);
    const std::string text = result == UCI_OK ? describe(p) : std::string();
    uci_free_context(ctx);
    return text;
}

void commit()
{
    uci_context *ctx = uci_alloc_context();
    char text[] = "demo.@[-1].a";
    uci_ptr ptr;
    fuzz_require(uci_lookup_ptr(ctx, &ptr, text, true) == UCI_OK,
                 "a package that loads once loads");
    fuzz_require(uci_commit(ctx, &ptr.p, false) == UCI_OK, "what loads can be committed");
    uci_free_context(ctx);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view input = fuzz_text(data, size);
    const std::size_t end = std::min(input.find('\0'), size);
    fuzz_write("config/demo", input.substr(0, end));
    fuzz_write("save/demo", input.substr(std::min(end + 1, size)));

    int result = UCI_OK;
    const std::string before = load(result);
    fuzz_require(result == UCI_OK || result == UCI_ERR_PARSE, "text reads or does not parse");
    if (result != UCI_OK) return 0;
    commit();
    fuzz_require(load(result) == before && result == UCI_OK, "a commit changes nothing");
    return 0;
}
