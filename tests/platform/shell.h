// SPDX-License-Identifier: ISC
// Commands as scripts run them.
#pragma once

#include <cstdio>
#include <string>
#include <sys/wait.h>
#include <utility>

// What a command of the shell prints on both outputs, and its exit code.
inline std::pair<std::string, int> shell(const std::string &command)
{
    std::string output;
    FILE *pipe = popen((command + " 2>&1").c_str(), "re");
    for (int c = getc(pipe); c != EOF; c = getc(pipe))
        output += static_cast<char>(c);
    return {output, WEXITSTATUS(pclose(pipe))};
}
