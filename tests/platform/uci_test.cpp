// SPDX-License-Identifier: ISC
// The configuration library and its tool, over files in a folder of their own.
#include <algorithm>
#include <csignal>
#include <unistd.h>

#include <gtest/gtest.h>
#include <uci.h>

#include "simulator/router/process.h"
#include "tests/platform/shell.h"
#include "tests/support/scratch.h"

namespace
{

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr int complete = uci_ptr::UCI_LOOKUP_COMPLETE;

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
};

TEST_F(uci, filesReadAsTheGrammarSays)
{
    const struct {
        const char *name;
        const char *text;   // after "config t s" and a line feed
        const char *shown;  // a dot stands for "demo.s."
    } cases[] = {
        {"adjacent pieces join", "option a 'a'\"b\"c\n", ".a='abc'\n"},
        {"single quotes hide all", "option a '\\n\"#;\n'\n", ".a='\\n\"#;\n'\n"},
        {"backslash takes the next", "option a \"\\n\\\"\\\nx\"\\ y\n", ".a='n\"x y'\n"},
        {"quote in a value", "option a 'it'\\''s'", ".a='it'\\''s'\n"},
        {"comment inside a word", " # x\noption a a#b\n", ".a='a'\n"},
        {"first letters and CRLF", "c t s\r\n\to a b\r\nl b c\r\n", ".a='b'\n.b='c'\n"},
        {"last value wins", "option a 1\noption a 2\noption a ''\n", ".a='2'\n"},
        {"empty is absent", "option a ''\noption b\noption c \"\"\n", ""},
        {"list after option", "option a 1\nlist a 'y z'\nlist a ''\n", ".a='1' 'y z' ''\n"},
        {"option after list", "list a 1\noption a 2\n", ".a='2'\n"},
        {"sections merge", "option a 1\nconfig t s\noption b 2\n", ".a='1'\n.b='2'\n"},
        {"semicolons apart", "option a 1 ; option b '2';option c 3\n", ".a='1'\n.b='2'\n.c='3'\n"},
        {"semicolon after word", "option a 1;option b 2\n", ".a='1'\n"},
        {"octets are kept", "package x\noption a '\xFF\x01'\n", ".a='\xFF\x01'\n"},
    };
    for (const auto &c : cases) {
        write_file(package, std::string("config t s\n") + c.text);
        std::string expected = "demo.s=t\n";
        for (const char *at = c.shown; *at != '\0'; at++)
            expected += *at == '.' ? "demo.s." : std::string(1, *at);
        EXPECT_EQ(tool("show demo"), expected) << c.name;
    }
}

TEST_F(uci, oneErrorMakesTheWholePackageUnusable)
{
    // clang-format off
    const char *const texts[] = {
        "bogus\n", "config\n", "config t s u\n", "config t s-u\n", "option a b c\n", "option\n",
        "option a-b c\n", "option a 'b\n", "config u s\n", "'config' t s\n", "config 'a b'\n",
        "option a 'b';\n", "config \xC3\xA4\n", "list\n", "package\n", "package a b\n",
    };
    // clang-format on
    for (const char *text : texts) {
        write_file(package, std::string("config t s\noption z 1\n") + text);
        EXPECT_EQ(tool("show demo"), "uci: Parse error\n1") << text;
    }
    write_file(package, "option a b\n");
    EXPECT_EQ(tool("show demo"), "uci: Parse error\n1") << "no section";
    write_file(package, std::string("config t s\0\n", 12));
    EXPECT_EQ(tool("show demo"), "uci: Parse error\n1") << "NUL";
}

TEST_F(uci, lookupTellsWhatIsThere)
{
    write_file(package, "config t s\noption a 1\nconfig t\noption b 2\nconfig u\n");
    write_file(config / "broken", "bogus\n");
    const struct {
        const char *text;
        bool extended;
        int result;
        int flag;
        int found;  // of package, section, option
        const char *section = "";
    } cases[] = {
        {"demo", true, 0, complete, 1},
        {"demo.s", true, 0, complete, 2, "s"},
        {"demo.s.a=x", true, 0, complete, 3, "s"},
        {"demo.s.b", true, 0, 0, 2, "s"},
        {"demo.x.a", true, 0, 0, 1, "x"},
        {"demo.@t[1].b", true, 0, complete, 3, "cfg02b619"},
        {"demo.@t[-2].a", true, 0, complete, 3, "s"},
        {"demo.@[2]", true, 0, complete, 2, "cfg03b61a"},
        {"demo.cfg02b619.b", false, 0, complete, 3, "cfg02b619"},
        {"demo.@t[2]", true, 0, 0, 1, "@t[2]"},
        {"demo.@t[0]", false, 2, 0, 0},
        {"demo.@t", true, 2, 0, 0},
        {"demo.mo-dem", true, 2, 0, 0},
        {"missing.s.a", true, 3, 0, 0, "s"},
        {"broken.s.a", true, 5, 0, 0, "s"},
        {"demo.s.a.b", true, 5, 0, 0},
        {"demo..a", true, 5, 0, 0},
        {"demo.s.a-b", true, 5, 0, 0},
        {"de mo", true, 5, 0, 0},
        {"demo.s.a=\x01", true, 5, 0, 0},
        {"", true, 5, 0, 0},
    };
    for (const auto &c : cases) {
        std::string text = c.text;
        uci_context *ctx = context();
        uci_ptr ptr;
        EXPECT_EQ(uci_lookup_ptr(ctx, &ptr, text.data(), c.extended), c.result) << c.text;
        EXPECT_EQ(ctx->err, c.result) << c.text;
        EXPECT_EQ(static_cast<int>(ptr.flags) & complete, c.flag) << c.text;
        EXPECT_EQ((ptr.p != nullptr) + (ptr.s != nullptr) + (ptr.o != nullptr), c.found) << c.text;
        EXPECT_STREQ(ptr.section == nullptr ? "" : ptr.section, c.section) << c.text;
        const int types[] = {0, UCI_TYPE_PACKAGE, UCI_TYPE_SECTION, UCI_TYPE_OPTION};
        EXPECT_EQ(ptr.last == nullptr ? 0 : ptr.last->type, types[c.found]) << c.text;
        uci_free_context(ctx);
    }
}

TEST_F(uci, setFollowsItsTable)
{
    const std::string start = "\nconfig t 's'\n\toption a '1'\n\tlist l 'x'\n\n";
    const struct {
        const char *name;
        const char *key;
        const char *value;
        int result;
        const char *written;  // null: as it was
    } cases[] = {
        {"another value", "demo.s.a", "it's", 0,
         "\nconfig t 's'\n\toption a 'it'\\''s'\n\tlist l 'x'\n\n"},
        {"list becomes option", "demo.s.l", "x", 0,
         "\nconfig t 's'\n\toption a '1'\n\toption l 'x'\n\n"},
        {"new option", "demo.s.b", "a\nb", 0,
         "\nconfig t 's'\n\toption a '1'\n\tlist l 'x'\n\toption b 'a\nb'\n\n"},
        {"new section", "demo.r", "u", 0,
         "\nconfig t 's'\n\toption a '1'\n\tlist l 'x'\n\nconfig u 'r'\n\n"},
        {"new type", "demo.s", "u", 0, "\nconfig u 's'\n\toption a '1'\n\tlist l 'x'\n\n"},
        {"empty deletes option", "demo.s.a", "", 0, "\nconfig t 's'\n\tlist l 'x'\n\n"},
        {"empty deletes section", "demo.@t[0]", "", 0, "\n"},
        {"same value", "demo.s.a", "1", 0, nullptr},
        {"empty for a missing option", "demo.s.b", "", 0, nullptr},
        {"control character", "demo.s.a", "\x01", 0, nullptr},
        {"section missing", "demo.x.a", "1", 2, nullptr},
        {"package missing", "none.s.a", "1", 3, nullptr},
        {"no value", "demo.s.a", nullptr, 2, nullptr},
        {"no section", "demo", "x", 2, nullptr},
        {"bad type", "demo.s", "a b", 2, nullptr},
    };
    for (const auto &c : cases) {
        fs::remove_all(save);
        write_file(package, start);
        EXPECT_EQ(change(c.key, c.value), c.result) << c.name;
        EXPECT_EQ(read_file(package), c.written == nullptr ? start : c.written) << c.name;
    }
}

TEST_F(uci, commitAppliesWholePendingLinesOfOthersFirst)
{
    fs::create_directory(save);
    const std::string lines =
        "demo.s.a='other'\nmalformed\nother.s.a='x'\n-demo.r\n@demo.q='p'\n+demo.cfg0abcd='u'\n"
        "|demo.s.l='z'\n~demo.s.l='x'\n^demo.p='0'\ndemo.gone.a='1'\ndemo.s.b='two\nlines'\n"
        "demo.s.torn=";
    for (const char *end : {"'by a writer that died", "'at its end'"}) {
        write_file(package,
                   "config t s\n option a 1\n list l x\n list l y\nconfig t r\nconfig t q\n");
        write_file(pending, lines + end);
        EXPECT_EQ(tool("get demo.s.a"), "other\n");
        EXPECT_EQ(tool("show demo.@u[0]"), "demo.@u[0]=u\n");
        EXPECT_EQ(change("demo.s.a", "own"), UCI_OK);
        EXPECT_EQ(read_file(package),
                  "\nconfig t 'p'\n\nconfig t 's'\n\toption a 'own'\n\tlist l 'y'\n\tlist l 'z'\n"
                  "\toption b 'two\nlines'\n\nconfig u\n\n");
        EXPECT_EQ(fs::file_size(pending), 0U);
    }
}

TEST_F(uci, commitKeepsSymbolicLinkAndPermissions)
{
    const fs::path target = folder.path / "target";
    write_file(target, "config t s\n");
    fs::create_symlink(target, package);
    fs::permissions(target, fs::perms{0640});
    EXPECT_EQ(change("demo.s.a", "1"), UCI_OK);
    EXPECT_TRUE(fs::is_symlink(package));
    EXPECT_EQ(read_file(target), "\nconfig t 's'\n\toption a '1'\n\n");
    EXPECT_EQ(fs::status(target).permissions(), fs::perms{0640});
    EXPECT_EQ(std::distance(fs::directory_iterator(config), {}), 1) << "no temporary file";
}

TEST_F(uci, commitOfNothingLeavesTheFileAndTheInapplicableLine)
{
    write_file(package, "config t s\noption a 1\n");
    EXPECT_EQ(tool("set demo.s.a=2"), "");
    write_file(package, "config t r # no s\n");
    EXPECT_EQ(tool("commit demo"), "");
    EXPECT_EQ(read_file(package), "config t r # no s\n");
    EXPECT_EQ(read_file(pending), "demo.s.a='2'\n");
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

TEST_F(uci, toolShowsGetsSetsAndCommits)
{
    write_file(package,
               "config t s\noption a \"it's\"\nlist l x\nlist l 'y z'\nconfig u\noption b 1\n");
    EXPECT_EQ(tool("show demo.@u[0].b"), "demo.@u[0].b='1'\n");
    EXPECT_EQ(tool("get demo.s.a"), "it's\n");
    EXPECT_EQ(tool("get demo.s.l"), "x 'y z'\n");
    EXPECT_EQ(tool("get demo.s"), "t\n");
    EXPECT_EQ(tool("get demo.s.x"), "uci: Entry not found\n1");
    EXPECT_EQ(tool("-q get none.s.x"), "1");
    EXPECT_EQ(tool("set demo.s.a=2 demo.@u[0].b=3"), "");
    EXPECT_EQ(read_file(pending), "demo.s.a='2'\ndemo.cfg02b61a.b='3'\n");
    EXPECT_EQ(tool("commit"), "");
    EXPECT_EQ(read_file(package),
              "\nconfig t 's'\n\toption a '2'\n\tlist l 'x'\n\tlist l 'y z'\n\n"
              "config u\n\toption b '3'\n\n");
}

TEST_F(uci, twoWritersLoseNoChange)
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

TEST_F(uci, killedCommitLeavesOneWholeFile)
{
    const std::string values[] = {std::string(60000, 'a'), std::string(70000, 'b')};
    const auto file = [](const std::string &value) {
        return "\nconfig t 's'\n\toption a '" + value + "'\n\n";
    };
    write_file(package, file(values[0]));
    for (int round = 0; round < 60; round++) {
        int ready[2];
        ASSERT_EQ(pipe(ready), 0);
        const pid_t child = fork();
        if (child == 0) {
            for (unsigned i = 1;; i++) {
                (void)change("demo.s.a", values[i % 2].c_str());
                if (i == 1 && write(ready[1], "", 1) != 1) _exit(1);
            }
        }
        char octet = 0;
        EXPECT_EQ(read(ready[0], &octet, 1), 1);
        usleep(static_cast<useconds_t>(round * 37));  // another place in the commit each time
        (void)process_stop(child, SIGKILL, 60s);
        close(ready[0]);
        close(ready[1]);
        const std::string text = read_file(package);
        ASSERT_TRUE(text == file(values[0]) || text == file(values[1])) << round;
    }
    EXPECT_EQ(change("demo.s.a", "last"), UCI_OK) << "no lock is left behind";
}

}  // namespace
