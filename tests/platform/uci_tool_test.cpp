// SPDX-License-Identifier: ISC
// What the tool of the bundled configuration library reads, shows and changes.
#include "tests/platform/uci_files.h"

namespace
{

using uci_hardening = uci;

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
        "config \xC3\xA4\n", "list\n", "package\n", "package a b\n",
        "option a 'b';\n", "option a b ;\n", "option a b\\c;\n", ";option a b\n", "option a b ;;\n",
        "config t ;option a b\n", "option a b ; bogus\n", "opti\\on a b\n", "option\ra b\n",
        "\\\noption a b\n", "option a \\\n b\n", "option a b \\\noption c d\n",
    };
    // clang-format on
    for (const char *text : texts) {
        write_file(package, std::string("config t s\noption z 1\n") + text);
        EXPECT_EQ(tool("show demo"), "uci: Parse error\n1") << text;
    }
    write_file(package, "option a b\n");
    EXPECT_EQ(tool("show demo"), "uci: Parse error\n1") << "no section";
}

TEST_F(uci_hardening, fileWithNulIsUnusable)
{
    write_file(package, std::string("config t s\0\n", 12));
    EXPECT_EQ(tool("show demo"), "uci: Parse error\n1");
}

TEST_F(uci, toolShowsGetsSetsAndCommits)
{
    write_file(package,
               "config t s\noption a \"it's\"\nlist l x\nlist l 'y z'\nconfig u\noption b 1\n");
    EXPECT_EQ(
        tool("show demo"),
        "demo.s=t\ndemo.s.a='it'\\''s'\ndemo.s.l='x' 'y z'\ndemo.@u[0]=u\ndemo.@u[0].b='1'\n");
    EXPECT_EQ(tool("show demo.@u[0]"), "demo.cfg02b61a=u\ndemo.cfg02b61a.b='1'\n");
    EXPECT_EQ(tool("show demo.@u[0].b"), "demo.cfg02b61a.b='1'\n");
    EXPECT_EQ(tool("get demo.s.a"), "it's\n");
    EXPECT_EQ(tool("get demo.s.l"), "x 'y z'\n");
    EXPECT_EQ(tool("get demo.s"), "t\n");
    EXPECT_EQ(tool("get demo.s.x"), "uci: Entry not found\n1");
    EXPECT_EQ(tool("-q get none.s.x"), "1");
    EXPECT_TRUE(tool("set demo.s.a=2 demo.@u[0].b=3").ends_with("255"));  // one at a time
    EXPECT_FALSE(fs::exists(pending));
    EXPECT_EQ(tools({"set demo.s.a=2", "set demo.@u[0].b=3"}), "");
    EXPECT_EQ(read_file(pending), "demo.s.a='2'\ndemo.cfg02b61a.b='3'\n");
    EXPECT_EQ(tool("commit"), "");
    EXPECT_EQ(read_file(package),
              "\nconfig t 's'\n\toption a '2'\n\tlist l 'x'\n\tlist l 'y z'\n\n"
              "config u\n\toption b '3'\n\n");
}

TEST_F(uci, toolDeletesListsAndReverts)
{
    const char *text = "config t s\noption a 1\nlist l x\nconfig t r\n";
    write_file(package, text);
    EXPECT_EQ(tools({"changes", "revert demo"}), "");
    EXPECT_EQ(tool("delete demo.s.x"), "uci: Entry not found\n1");
    EXPECT_EQ(tools({"delete demo.s.a", "delete demo.r", "set demo.s.b=\"it's\""}), "");
    write_file(pending, read_file(pending) + "|demo.s.l='y'\n~demo.s.l='x'\ndemo.s='u'\n");
    const std::string list = "demo.s.l+='y'\ndemo.s.l-='x'\ndemo.s='u'\n";
    EXPECT_EQ(tool("changes demo"), "-demo.s.a\n-demo.r\ndemo.s.b='it'\\''s'\n" + list);
    EXPECT_EQ(tool("revert demo.s.b"), "");
    EXPECT_EQ(tool("changes"), "-demo.s.a\n-demo.r\n" + list);
    EXPECT_EQ(tool("revert demo.s"), "");
    EXPECT_EQ(tool("show demo"), "demo.s=t\ndemo.s.a='1'\ndemo.s.l='x'\n");
    EXPECT_EQ(tool("revert demo"), "");
    EXPECT_EQ(fs::file_size(pending), 0U);
    EXPECT_EQ(tool("revert none"), "uci: Entry not found\n1");
    EXPECT_EQ(tools({"delete demo.@t[0]", "commit demo"}), "");
    EXPECT_EQ(read_file(package), "\nconfig t 'r'\n\n");
}

}  // namespace
