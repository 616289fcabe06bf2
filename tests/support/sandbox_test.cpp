// SPDX-License-Identifier: ISC
// What every other test in the virtual router relies on.
#include "simulator/sandbox.h"

#include <filesystem>
#include <functional>
#include <signal.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "simulator/router/process.h"

using namespace std::chrono_literals;

namespace
{

// The host's files, and what is seen of them inside; nothing written there changes them.
constexpr std::pair<const char *, const char *> files[] = {
    {"/run/host", ""},
    {"/tmp/host", ""},
    {"/root/host", ""},
    {"/var/host", ""},
    {"/etc/config/host", ""},
    {"/etc/host", "host"},
    {"/etc/folder/host", "host"},
};

// Runs `inside` in a sandbox of its own, within the one that the tests run in.
pid_t startsandbox(const std::function<int()> &inside)
{
    const pid_t pid = fork();
    if (pid != 0) return pid;
    sandbox_enter();
    _exit(inside());
}

}  // namespace

TEST(sandbox, handsOutTheExitStatusAndLeavesTheHostsFilesAlone)
{
    // A checkout below a home that is private inside.
    const std::string checkout = "/root/src/check out";
    std::filesystem::create_directories(checkout);
    std::filesystem::create_directory("/etc/folder");
    for (const auto &[path, seen] : files)
        write_file(path, "host");
    write_file(checkout + "/file", "host");
    std::filesystem::current_path(checkout);

    const pid_t pid = startsandbox([] {
        int step = 1;
        for (const auto &[path, seen] : files) {
            if (read_file(path) != seen) return step;
            write_file(path, "inside");
            if (*seen == '\0' && read_file(path) != "inside") return step;
            step++;
        }
        if (std::filesystem::exists("/.host") || read_file("file") != "host") return step;
        write_file("file", "inside");
        return 42;
    });
    std::filesystem::current_path("/");
    const auto status = process_wait(pid, 60s);
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(process_endtext(*status), "exit status 42");
    for (const auto &[path, seen] : files)
        EXPECT_EQ(read_file(path), "host") << path;
    EXPECT_EQ(read_file(checkout + "/file"), "inside") << "the working directory is the host's";
}

TEST(sandbox, leavesNothingBehindWhenItsCallerIsKilled)
{
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    const pid_t pid = startsandbox([&]() -> int {
        if (fork() == 0) setsid();  // a grandchild that no signal of a terminal reaches
        (void)!write(ends[1], "x", 1);
        for (;;)
            pause();
    });
    close(ends[1]);
    char octet = 0;
    ASSERT_EQ(read(ends[0], &octet, 1), 1);
    ASSERT_EQ(read(ends[0], &octet, 1), 1);
    kill(pid, SIGKILL);
    EXPECT_EQ(read(ends[0], &octet, 1), 0) << "somebody still holds the pipe";
    close(ends[0]);
    EXPECT_TRUE(process_wait(pid, 60s).has_value());
}
