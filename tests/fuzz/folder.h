// A folder for the configuration library to work in.
#pragma once

#include <filesystem>
#include <string>
#include <unistd.h>

#include <uci.h>

#include "fuzz/mutate.h"

// In memory where that is possible: every commit waits for the disk.
struct fuzz_folder {
    fuzz_folder()
    {
        std::string text = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        text += "/uci-fuzz-XXXXXX";
        fuzz_require(mkdtemp(text.data()) != nullptr, "a folder to work in");
        path = text;
        std::filesystem::create_directory(path / "config");
        std::filesystem::create_directory(path / "save");
    }
    ~fuzz_folder()
    {
        std::error_code error;
        std::filesystem::remove_all(path, error);
    }
    fuzz_folder(const fuzz_folder &) = delete;
    fuzz_folder &operator=(const fuzz_folder &) = delete;

    // Makes a context work here; null stays null.
    uci_context *settle(uci_context *context) const
    {
        if (context == nullptr) return nullptr;
        uci_set_confdir(context, (path / "config").c_str());
        uci_set_savedir(context, (path / "save").c_str());
        uci_set_conf2dir(context, nullptr);
        return context;
    }

    std::filesystem::path path;
};
