// SPDX-License-Identifier: ISC
// The configuration library as the daemon uses it; docs/uci.md shows by example what files and
// changes mean. Suites named "hardening" show what the genuine one does not promise.
#include <algorithm>
#include <unistd.h>

#include <gtest/gtest.h>
#include <uci.h>

#include "simulator/router/process.h"
#include "tests/support/scratch.h"

namespace
{

namespace fs = std::filesystem;
using namespace std::chrono_literals;

struct uci : testing::Test {
    const scratch_folder folder;
    const fs::path config = folder.path / "config";
    const fs::path save = folder.path / "save";
    const fs::path conf2 = folder.path / "override";
    const std::string package = config / "demo";

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
};

using uci_hardening = uci;

TEST_F(uci, lookupTellsWhatIsThere)
{
    write_file(package, "config t s\noption a 1\nconfig t\noption b 2\nconfig u\n");
    write_file(config / "broken", "bogus\n");
    const struct {
        const char *text;
        const char *there;  // of package, section, option; "!" and the error
        const char *section = "";
        bool isextended = true;
    } rows[] = {
        {"demo", "p"},
        {"demo.s", "ps", "s"},
        {"demo.s.a=x", "pso", "s"},
        {"demo.s.b", "ps?", "s"},
        {"demo.x.a", "p?", "x"},
        {"demo.@t[1].b", "pso", "cfg02b619"},
        {"demo.@t[-2].a", "pso", "s"},
        {"demo.@[2]", "ps", "cfg03b61a"},
        {"demo.cfg02b619.b", "pso", "cfg02b619", false},
        {"demo.@t[2]", "p?", "@t[2]"},
        {"demo.@t[0]", "!2", "", false},
        {"demo.@t", "!2"},
        {"demo.mo-dem", "!2"},
        {"missing.s.a", "!3", "s"},
        {"broken.s.a", "!5", "s"},
        {"demo.s.a.b", "!5"},
        {"demo..a", "!5"},
        {"demo.s.a-b", "!5"},
        {"de mo", "!5"},
        {"demo.s.a=\x01", "!5"},
        {"", "!5"},
    };
    for (const auto &[text, there, section, isextended] : rows) {
        std::string key = text;
        uci_context *ctx = context();
        uci_ptr ptr;
        const int result = uci_lookup_ptr(ctx, &ptr, key.data(), isextended);
        EXPECT_EQ(ctx->err, result) << text;
        const std::string found = std::string(ptr.p != nullptr ? "p" : "") +
                                  (ptr.s != nullptr ? "s" : "") + (ptr.o != nullptr ? "o" : "");
        const bool iswhole = (static_cast<int>(ptr.flags) & uci_ptr::UCI_LOOKUP_COMPLETE) != 0;
        if (result != UCI_OK)
            EXPECT_EQ("!" + std::to_string(result) + found, there) << text;
        else
            EXPECT_EQ(found + (iswhole ? "" : "?"), there) << text;
        const int types[] = {0, UCI_TYPE_PACKAGE, UCI_TYPE_SECTION, UCI_TYPE_OPTION};
        EXPECT_EQ(ptr.last == nullptr ? 0 : ptr.last->type, types[found.size()]) << text;
        EXPECT_STREQ(ptr.section == nullptr ? "" : ptr.section, section) << text;
        uci_free_context(ctx);
    }
}

TEST_F(uci, commitPutsAWholeNewFileBehindTheLinkWithItsPermissions)
{
    const fs::path target = folder.path / "target";
    write_file(target, "config t s\n");
    fs::create_symlink(target, package);
    fs::create_hard_link(target, folder.path / "former");
    fs::permissions(target, fs::perms{0640});
    EXPECT_EQ(change("demo.s.a", "1"), UCI_OK);
    EXPECT_TRUE(fs::is_symlink(package));
    EXPECT_EQ(read_file(target), "\nconfig t 's'\n\toption a '1'\n\n");
    EXPECT_EQ(fs::status(target).permissions(), fs::perms{0640});
    EXPECT_EQ(read_file(folder.path / "former"), "config t s\n")
        << "a kill leaves the one or the other";
    EXPECT_EQ(std::distance(fs::directory_iterator(config), {}), 1) << "no temporary file";
}

TEST_F(uci, controlCharactersAreDroppedInSilence)
{
    write_file(package, "config t s\n");
    EXPECT_EQ(change("demo.s.a", "\x01"), UCI_OK);
    EXPECT_EQ(read_file(package), "config t s\n");
}

TEST_F(uci, commitThatCannotSaveLeavesTheFile)
{
    write_file(package, "config t s\n");
    write_file(save, "a file where the directory should be");
    EXPECT_EQ(change("demo.s.a", "1"), UCI_ERR_IO);
    EXPECT_EQ(read_file(package), "config t s\n");
}

TEST_F(uci, overrideReplacesTheFileAndIsWrittenInItsStead)
{
    write_file(package, "config t s\n");
    fs::create_directory(conf2);
    write_file(conf2 / "demo", "config t r\n");
    EXPECT_EQ(change("demo.s.a", "1"), UCI_ERR_INVAL);
    EXPECT_EQ(change("demo.r.a", "1"), UCI_OK);
    EXPECT_EQ(read_file(package), "config t s\n");
    EXPECT_EQ(read_file(conf2 / "demo"), "\nconfig t 'r'\n\toption a '1'\n\n");
}

TEST_F(uci_hardening, twoWritersLoseNoChange)
{
    constexpr int changes = 50;
    write_file(package, "config t s\n");
    const pid_t other = fork();
    const std::string prefix = other == 0 ? "demo.s.a" : "demo.s.b";
    int failed = 0;
    for (int i = 0; i < changes; i++)
        failed |= change(prefix + std::to_string(i), "1");
    if (other == 0) _exit(failed);
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(process_wait(other, 60s), 0);
    const std::string text = read_file(package);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\t'), 2 * changes);
}

}  // namespace
