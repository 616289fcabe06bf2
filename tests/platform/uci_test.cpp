// SPDX-License-Identifier: ISC
// The configuration library. Suites named "hardening" show what the genuine one does not promise.
#include <algorithm>
#include <csignal>
#include <unistd.h>

#include "tests/platform/uci_files.h"

namespace
{

using namespace std::chrono_literals;

constexpr int complete = uci_ptr::UCI_LOOKUP_COMPLETE;

using uci_hardening = uci;

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
    const char *lines =
        "demo.s.a='other'\nmalformed\nother.s.a='x'\n-demo.r\n@demo.q='p'\n+demo.cfg0abcd='u'\n"
        "|demo.s.l='z'\n~demo.s.l='x'\n^demo.p='0'\ndemo.gone.a='1'\ndemo.s.b='two\nlines'\n";
    write_file(package, "config t s\n option a 1\n list l x\n list l y\nconfig t r\nconfig t q\n");
    write_file(pending, lines);
    EXPECT_EQ(tool("get demo.s.a"), "other\n");
    EXPECT_EQ(tool("show demo.@u[0]"), "demo.cfg0abcd=u\n");
    EXPECT_EQ(change("demo.s.a", "own"), UCI_OK);
    EXPECT_EQ(read_file(package),
              "\nconfig t 'p'\n\nconfig t 's'\n\toption a 'own'\n\tlist l 'y'\n\tlist l 'z'\n"
              "\toption b 'two\nlines'\n\nconfig u\n\n");
    EXPECT_EQ(fs::file_size(pending), 0U);
}

TEST_F(uci_hardening, tornPendingLineCountsForNothing)
{
    fs::create_directory(save);
    for (const char *end : {"'by a writer that died", "'at its end'"}) {
        write_file(package, "config t s\n");
        write_file(pending, std::string("demo.s.a='other'\ndemo.s.torn=") + end);
        EXPECT_EQ(change("demo.s.b", "own"), UCI_OK);
        EXPECT_EQ(read_file(package), "\nconfig t 's'\n\toption a 'other'\n\toption b 'own'\n\n");
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

TEST_F(uci_hardening, killedCommitLeavesOneWholeFile)
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
