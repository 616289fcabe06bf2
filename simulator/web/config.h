// SPDX-License-Identifier: ISC
// What the web server reads from the configuration.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulator/web/json.h"

// What one log-in gives: patterns of group names.
struct config_loginrow {
    std::string password;  // as crypt(3) writes it
    std::vector<std::string> read, write;
};

// The first section `login` of the package with this name.
std::optional<config_loginrow> config_login(const std::string &package,
                                            const std::string &username);

// {SECTION:{".type":TYPE,OPTION:TEXT or [TEXTS]}}; null without such a package.
json_value config_values(const std::string &package);
