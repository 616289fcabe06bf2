// SPDX-License-Identifier: ISC
// What the web server reads from the configuration.
#include "simulator/web/config.h"

#include <functional>

extern "C" {
#include <uci.h>
}

namespace
{

// Calls `visit` for every section. False without such a package.
bool eachsection(const std::string &package, const std::function<void(uci_section *)> &visit)
{
    uci_context *context = uci_alloc_context();
    uci_package *loaded = nullptr;
    const bool isloaded = uci_load(context, package.c_str(), &loaded) == UCI_OK;
    if (isloaded) {
        uci_element *element = nullptr;
        uci_foreach_element(&loaded->sections, element) visit(uci_to_section(element));
    }
    uci_free_context(context);
    return isloaded;
}

std::vector<std::string> textsof(const uci_option *option)
{
    if (option->type == UCI_TYPE_STRING) return {option->v.string};
    std::vector<std::string> texts;
    uci_element *item = nullptr;
    uci_foreach_element(&option->v.list, item) texts.emplace_back(item->name);
    return texts;
}

std::vector<std::string> textsof(uci_section *section, const std::string &name)
{
    uci_element *element = nullptr;
    uci_foreach_element(&section->options, element)
    {
        if (element->name == name) return textsof(uci_to_option(element));
    }
    return {};
}

json_object *jsonof(const uci_option *option)
{
    if (option->type == UCI_TYPE_STRING) return json_object_new_string(option->v.string);
    json_object *list = json_object_new_array();
    for (const std::string &text : textsof(option))
        json_object_array_add(list, json_object_new_string(text.c_str()));
    return list;
}

}  // namespace

std::optional<config_loginrow> config_login(const std::string &package, const std::string &username)
{
    std::optional<config_loginrow> found;
    (void)eachsection(package, [&](uci_section *section) {
        const auto names = textsof(section, "username");
        const auto passwords = textsof(section, "password");
        if (found || section->type != std::string("login") || names.empty() || passwords.empty() ||
            names[0] != username)
            return;
        found = {passwords[0], textsof(section, "read"), textsof(section, "write")};
    });
    return found;
}

json_value config_values(const std::string &package)
{
    json_value values(json_object_new_object());
    const bool isloaded = eachsection(package, [&](uci_section *section) {
        json_object *options = json_object_new_object();
        json_object_object_add(options, ".type", json_object_new_string(section->type));
        uci_element *element = nullptr;
        uci_foreach_element(&section->options, element)
            json_object_object_add(options, element->name, jsonof(uci_to_option(element)));
        json_object_object_add(values.get(), section->e.name, options);
    });
    return isloaded ? std::move(values) : nullptr;
}
