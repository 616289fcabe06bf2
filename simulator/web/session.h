// SPDX-License-Identifier: ISC
// Log-ins and sessions of the web side: who may log in stands in /etc/config/rpcd, what a group may
// do in the access files that packages install.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <json-c/json.h>

#include "simulator/web/json.h"

class web_sessions
{
public:
    // `logins` is the configuration package's file name in /etc/config, `folder` that of the access
    // files. Both are read at each log-in, so that a change holds from the next one on.
    web_sessions(std::string logins, std::string folder);

    // The answer of `session` `login`; null when name or password are wrong.
    json_value login(const std::string &username, const std::string &password, int timeout);
    // Whether the session may call the method, or what else the scope has in their places. Its
    // time-out begins anew.
    bool mayaccess(std::string_view session,
                   std::string_view object,
                   std::string_view method,
                   const char *scope = "ubus");
    // What the session may do, as `login` shows it in "acls"; null without such a session.
    json_value rights(std::string_view session);
    bool destroy(std::string_view session);

private:
    struct entry {
        std::string id;
        std::string username;
        int timeout;     // s
        double expires;  // s of the monotonic clock
        json_value rights;
    };
    entry *find(std::string_view session);
    json_value describe(const entry &session) const;

    std::string logins, folder;
    std::mutex mutex;
    std::vector<entry> sessions;
};
