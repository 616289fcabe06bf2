// SPDX-License-Identifier: ISC
// What the code under test prints on standard output.
#pragma once

#include <string>
#include <sys/mman.h>
#include <unistd.h>

template <typename action>
std::string tracesof(action &&run)
{
    const int kept = dup(STDOUT_FILENO);
    const int file = memfd_create("traces", 0);
    dup2(file, STDOUT_FILENO);
    run();
    dup2(kept, STDOUT_FILENO);
    std::string text(static_cast<std::size_t>(lseek(file, 0, SEEK_CUR)), '\0');
    text.resize(static_cast<std::size_t>(pread(file, text.data(), text.size(), 0)));
    close(kept);
    close(file);
    return text;
}
