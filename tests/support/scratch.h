// SPDX-License-Identifier: ISC
// A folder of its own for one test, gone with it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

struct scratch_folder {
    const std::filesystem::path path;

    explicit scratch_folder(const std::string &place = "/tmp") : path(make(place + "/test-XXXXXX"))
    {
    }
    ~scratch_folder()
    {
        std::error_code error;
        std::filesystem::remove_all(path, error);
    }
    scratch_folder(const scratch_folder &) = delete;
    scratch_folder &operator=(const scratch_folder &) = delete;

private:
    static std::string make(std::string name)
    {
        return mkdtemp(name.data()) != nullptr ? name : std::string();
    }
};
