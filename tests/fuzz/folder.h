// SPDX-License-Identifier: ISC
// A folder in which all contexts of the configuration library in this program work.
#pragma once

#include <fstream>
#include <string_view>
#include <unistd.h>

#include <uci.h>

#include "support/scratch.h"

// In memory where that is possible: every commit waits for the disk.
const std::filesystem::path &fuzz_folder()
{
    static const scratch_folder folder(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp");
    static const bool isready = std::filesystem::create_directory(folder.path / "config") &&
                                std::filesystem::create_directory(folder.path / "save");
    (void)isready;
    return folder.path;
}

// Puts a package file, or with "save/" its pending changes.
void fuzz_write(const char *name, std::string_view text)
{
    std::ofstream(fuzz_folder() / name, std::ios::binary) << text;
}

// Linked in the place of the library's.
extern "C" uci_context *__real_uci_alloc_context();
extern "C" uci_context *__wrap_uci_alloc_context()
{
    uci_context *context = __real_uci_alloc_context();
    if (context == nullptr) return nullptr;
    uci_set_confdir(context, (fuzz_folder() / "config").c_str());
    uci_set_savedir(context, (fuzz_folder() / "save").c_str());
    uci_set_conf2dir(context, nullptr);
    return context;
}
