// SPDX-License-Identifier: ISC
// Configuration files in a folder of their own, seen through the library and through its tool.
#pragma once

#include <gtest/gtest.h>
#include <uci.h>

#include "simulator/router/process.h"
#include "tests/platform/shell.h"
#include "tests/support/scratch.h"

namespace fs = std::filesystem;

class uci : public testing::Test
{
protected:
    const scratch_folder folder;
    const fs::path config = folder.path / "config";
    const fs::path save = folder.path / "save";
    const fs::path conf2 = folder.path / "override";
    const std::string package = config / "demo";
    const std::string pending = save / "demo";

    uci()
    {
        fs::create_directory(config);
    }
    uci_context *context() const
    {
        uci_context *ctx = uci_alloc_context();
        uci_set_confdir(ctx, config.c_str());
        uci_set_conf2dir(ctx, conf2.c_str());
        uci_set_savedir(ctx, save.c_str());
        return ctx;
    }
    // Sets and, if that worked, commits; the result of the last step.
    int change(std::string key, const char *value) const
    {
        uci_context *ctx = context();
        uci_ptr ptr;
        int result = uci_parse_ptr(ctx, &ptr, key.data());
        ptr.value = value;
        if (result == UCI_OK) result = uci_set(ctx, &ptr);
        if (result == UCI_OK) result = uci_commit(ctx, &ptr.p, false);
        uci_free_context(ctx);
        return result;
    }
    // What the tool prints, and its exit code at the end where that is not 0.
    std::string tool(const std::string &words) const
    {
        const auto [output, status] =
            shell("'" UCI_TOOL "' -c " + config.string() + " -P " + save.string() + " " + words);
        return status == 0 ? output : output + std::to_string(status);
    }
    // One after the other.
    std::string tools(std::initializer_list<const char *> lines) const
    {
        std::string output;
        for (const char *words : lines)
            output += tool(words);
        return output;
    }
};
