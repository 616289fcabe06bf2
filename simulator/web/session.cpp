// SPDX-License-Identifier: ISC
// Log-ins and sessions of the web side.
#include "simulator/web/session.h"

#include <algorithm>
#include <chrono>
#include <crypt.h>
#include <filesystem>
#include <fnmatch.h>
#include <sys/random.h>

#include "simulator/web/config.h"

namespace
{

constexpr int defaulttimeout = 300;  // s

double now()
{
    const auto since = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(since).count();
}

std::string newid()
{
    unsigned char octets[16];
    if (getrandom(octets, sizeof octets, 0) != sizeof octets) std::abort();
    std::string id;
    for (const unsigned char octet : octets) {
        constexpr char digits[] = "0123456789abcdef";
        id += {digits[octet >> 4], digits[octet & 0x0F]};
    }
    return id;
}

bool matches(const std::string &pattern, const std::string &text)
{
    return fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
}

bool matchesany(const std::vector<std::string> &patterns, const std::string &text)
{
    return std::any_of(patterns.begin(), patterns.end(),
                       [&](const std::string &pattern) { return matches(pattern, text); });
}

bool isright(const std::string &password, const std::string &hash)
{
    crypt_data data = {};
    const char *found = crypt_r(password.c_str(), hash.c_str(), &data);
    return found != nullptr && hash == found;
}

// The member of an object, made when it is missing.
json_object *member(json_object *object, const char *name, json_object *(*make)())
{
    json_object *found = nullptr;
    if (json_object_object_get_ex(object, name, &found)) return found;
    found = make();
    json_object_object_add(object, name, found);
    return found;
}

// {"ubus":{OBJECT:[METHOD]},"uci":[PACKAGE]} of one group's reading or writing half.
void grant(json_object *rights, json_object *half, const char *kind)
{
    json_object_object_foreach(half, scope, names)
    {
        json_object *granted = member(rights, scope, json_object_new_object);
        if (json_object_is_type(names, json_type_object)) {
            json_object_object_foreach(names, object, methods)
            {
                json_object *list = member(granted, object, json_object_new_array);
                for (std::size_t i = 0; i < json_object_array_length(methods); i++)
                    json_object_array_add(list,
                                          json_object_get(json_object_array_get_idx(methods, i)));
            }
            continue;
        }
        for (std::size_t i = 0; i < json_object_array_length(names); i++) {
            const char *name = json_object_get_string(json_object_array_get_idx(names, i));
            json_object_array_add(member(granted, name, json_object_new_array),
                                  json_object_new_string(kind));
        }
    }
}

// What the groups that the log-in names may do.
json_value collectrights(const std::string &folder, const config_loginrow &login)
{
    json_value rights(json_object_new_object());
    json_object *groups = member(rights.get(), "access-group", json_object_new_object);
    (void)member(rights.get(), "ubus", json_object_new_object);
    std::error_code none;
    for (const auto &file : std::filesystem::directory_iterator(folder, none)) {
        const json_value content(json_object_from_file(file.path().c_str()));
        if (!json_object_is_type(content.get(), json_type_object)) continue;
        json_object_object_foreach(content.get(), group, description)
        {
            for (const char *kind : {"read", "write"}) {
                json_object *half = nullptr;
                if (!matchesany(kind == std::string_view("read") ? login.read : login.write,
                                group) ||
                    !json_object_object_get_ex(description, kind, &half))
                    continue;
                json_object_array_add(member(groups, group, json_object_new_array),
                                      json_object_new_string(kind));
                grant(rights.get(), half, kind);
            }
        }
    }
    return rights;
}

}  // namespace

web_sessions::web_sessions(std::string package, std::string accessfiles)
    : logins(std::move(package)), folder(std::move(accessfiles))
{
}

web_sessions::entry *web_sessions::find(std::string_view session)
{
    std::erase_if(sessions, [](const entry &each) { return each.expires < now(); });
    for (entry &each : sessions) {
        if (each.id != session) continue;
        each.expires = now() + each.timeout;
        return &each;
    }
    return nullptr;
}

json_value web_sessions::describe(const entry &session) const
{
    json_value answer(json_object_new_object());
    json_object *data = json_object_new_object();
    json_object_object_add(answer.get(), "ubus_rpc_session",
                           json_object_new_string(session.id.c_str()));
    json_object_object_add(answer.get(), "timeout", json_object_new_int(session.timeout));
    json_object_object_add(answer.get(), "expires", json_object_new_int(session.timeout - 1));
    json_object_object_add(answer.get(), "acls", json_object_get(session.rights.get()));
    json_object_object_add(data, "username", json_object_new_string(session.username.c_str()));
    json_object_object_add(answer.get(), "data", data);
    return answer;
}

json_value web_sessions::login(const std::string &username,
                               const std::string &password,
                               int timeout)
{
    const std::lock_guard lock(mutex);
    const std::optional<config_loginrow> found = config_login(logins, username);
    if (!found || !isright(password, found->password)) return nullptr;
    const int kept = timeout > 0 ? timeout : defaulttimeout;
    sessions.push_back({newid(), username, kept, now() + kept, collectrights(folder, *found)});
    return describe(sessions.back());
}

bool web_sessions::mayaccess(std::string_view session,
                             std::string_view object,
                             std::string_view method,
                             const char *scope)
{
    const std::lock_guard lock(mutex);
    const entry *found = find(session);
    json_object *objects = nullptr;
    if (found == nullptr || !json_object_object_get_ex(found->rights.get(), scope, &objects))
        return false;
    json_object_object_foreach(objects, pattern, methods)
    {
        if (!matches(pattern, std::string(object))) continue;
        for (std::size_t i = 0; i < json_object_array_length(methods); i++) {
            const char *name = json_object_get_string(json_object_array_get_idx(methods, i));
            if (matches(name, std::string(method))) return true;
        }
    }
    return false;
}

json_value web_sessions::rights(std::string_view session)
{
    const std::lock_guard lock(mutex);
    const entry *found = find(session);
    return json_value(found != nullptr ? json_object_get(found->rights.get()) : nullptr);
}

bool web_sessions::destroy(std::string_view session)
{
    const std::lock_guard lock(mutex);
    return std::erase_if(sessions, [&](const entry &each) { return each.id == session; }) > 0;
}
