// SPDX-License-Identifier: ISC
// Package files of any octets: the settings come out within their words, and so does the package.
#include <cstring>
#include <memory>
#include <string>

#include "config/options.h"
#include "config/settings.h"
#include "core/record/state.h"
#include "fuzz/folder.h"
#include "fuzz/mutate.h"

namespace
{

void checksettings(modem_settings &settings)
{
    for (const modem_option &option : modem_options) {
        const modem_field field = option.field(settings);
        const void *end = std::memchr(field.text, '\0', field.capacity);
        fuzz_require(end != nullptr, "field ends");
        fuzz_require(modem_isaccepted(option, field.text), "one of the option's words");
        if (option.flag != nullptr) fuzz_require(*option.flag(settings) <= 1, "a flag");
    }
}

// What stands in the package now is among the words, too.
void checkpackage()
{
    uci_context *context = uci_alloc_context();
    for (const modem_option &option : modem_options) {
        std::string key = std::string("kelvantorium.") + option.section + "." + option.name;
        uci_ptr at = {};
        if (uci_lookup_ptr(context, &at, key.data(), true) != UCI_OK || at.o == nullptr) continue;
        fuzz_require(at.o->type != UCI_TYPE_STRING || modem_isaccepted(option, at.o->v.string),
                     "the package is repaired");
    }
    uci_free_context(context);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz_write("config/kelvantorium", fuzz_text(data, size));
    const auto state = std::make_unique<modem_state>();
    std::memset(&state->working, 0xA5, sizeof(state->working));
    fuzz_require(modem_read_settings(state.get()) == 0, "any package can be read");
    checksettings(state->working.settings);

    const modem_settings first = state->working.settings;
    checkpackage();
    std::memset(&state->working, 0xA5, sizeof(state->working));
    fuzz_require(modem_read_settings(state.get()) == 0, "a repaired one, too");
    fuzz_require(std::memcmp(&state->working.settings, &first, sizeof(first)) == 0,
                 "the same settings again");
    return 0;
}
