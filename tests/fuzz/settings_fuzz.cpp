// Package files of any octets: the settings come out within their words, and reading repairs the
// package once.
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "config/settings.h"
#include "core/state.h"
#include "fuzz/folder.h"
#include "fuzz/mutate.h"

extern "C" uci_context *__real_uci_alloc_context();

namespace
{

const fuzz_folder &where()
{
    static const fuzz_folder folder;
    return folder;
}

std::string packagetext()
{
    std::ifstream file(where().path / "config" / "kelvantorium", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void checksettings(modem_status &status)
{
    for (const modem_option &option : modem_options) {
        const modem_field field = option.field(status);
        const void *end = std::memchr(field.text, '\0', field.capacity);
        fuzz_require(end != nullptr, "field ends");
        fuzz_require(modem_isaccepted(option, field.text), "one of the option's words");
        if (option.flag != nullptr) fuzz_require(*option.flag(status) <= 1, "a flag");
    }
}

}  // namespace

// Linked in the place of the library's: the daemon's contexts work in the folder.
extern "C" uci_context *__wrap_uci_alloc_context()
{
    return where().settle(__real_uci_alloc_context());
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    std::ofstream(where().path / "config" / "kelvantorium", std::ios::binary)
        << std::string_view(reinterpret_cast<const char *>(data), size);
    const auto state = std::make_unique<modem_state>();
    std::memset(&state->working, 0xA5, sizeof(state->working));
    fuzz_require(modem_read_settings(state.get()) == 0, "any package can be read");
    checksettings(state->working);

    const modem_settings first = state->working.settings;
    const std::string repaired = packagetext();
    std::memset(&state->working, 0xA5, sizeof(state->working));
    fuzz_require(modem_read_settings(state.get()) == 0, "a repaired one, too");
    fuzz_require(std::memcmp(&state->working.settings, &first, sizeof(first)) == 0,
                 "the same settings again");
    fuzz_require(packagetext() == repaired, "nothing is left to repair");
    return 0;
}
