// SPDX-License-Identifier: ISC
// A folder for the configuration library to work in.
#pragma once

#include <unistd.h>

#include <uci.h>

#include "support/scratch.h"

// In memory where that is possible: every commit waits for the disk.
struct fuzz_folder : scratch_folder {
    fuzz_folder() : scratch_folder(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp")
    {
        std::filesystem::create_directory(path / "config");
        std::filesystem::create_directory(path / "save");
    }

    // Makes a context work here; null stays null.
    uci_context *settle(uci_context *context) const
    {
        if (context == nullptr) return nullptr;
        uci_set_confdir(context, (path / "config").c_str());
        uci_set_savedir(context, (path / "save").c_str());
        uci_set_conf2dir(context, nullptr);
        return context;
    }
};
