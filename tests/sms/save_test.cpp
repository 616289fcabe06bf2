// SPDX-License-Identifier: ISC
// The calls of a save, in their order, and each of them failing.
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <sys/mount.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "simulator/router/process.h"
#include "sms/listfile.h"
#include "tests/support/scratch.h"

namespace
{

std::string calls;
std::string failing;  // the call that does; a write puts half of its octets down

bool fails(const char *call)
{
    calls += calls.empty() ? call : std::string(" ") + call;
    if (failing != call) return false;
    errno = EIO;
    return true;
}

}  // namespace

// Every call of this program to these comes here (--wrap).
extern "C" {
ssize_t __real_write(int fd, const void *octets, size_t size);
ssize_t __wrap_write(int fd, const void *octets, size_t size)
{
    return __real_write(fd, octets, fails("write") ? size / 2 : size);
}
int __real_fsync(int fd);
int __wrap_fsync(int fd)
{
    return fails("fsync") ? -1 : __real_fsync(fd);
}
int __real_close(int fd);
int __wrap_close(int fd)
{
    const bool failed = fails("close");
    return __real_close(fd) == 0 && !failed ? 0 : -1;
}
int __real_rename(const char *from, const char *to);
int __wrap_rename(const char *from, const char *to)
{
    return fails("rename") ? -1 : __real_rename(from, to);
}
void __real_sync();
void __wrap_sync()
{
    (void)fails("sync");
    __real_sync();
}
}

TEST(save, replacesTheFormerFileByAWholeOneOnTheDisk)
{
    const struct {
        const char *failing, *calls;
        int error;
    } rows[] = {
        {"write", "write close", ENOSPC},         {"fsync", "write fsync close", EIO},
        {"close", "write fsync close", EIO},      {"rename", "write fsync close rename", EIO},
        {"", "write fsync close rename sync", 0},
    };
    const scratch_folder folder;
    const std::string path = folder.path / "list";
    const auto list = std::make_unique<sms_list>();
    for (const auto &row : rows) {
        write_file(path, "former");
        failing = row.failing;
        calls.clear();
        const int result = modem_writelist(*list, path.c_str());
        const int error = result == 0 ? 0 : errno;
        failing.clear();
        EXPECT_EQ(calls, row.calls);
        EXPECT_EQ(error, row.error) << row.failing;
        EXPECT_EQ(read_file(path).size(), result == 0 ? 31908U : 6U);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path), {}), 1);
    }
}

TEST(save, fullFileSystemKeepsTheFormerFile)
{
    const scratch_folder folder;
    const std::string path = folder.path / "list";
    const auto list = std::make_unique<sms_list>();
    for (const char *size : {"size=4096", "size=8192"}) {  // the new one gets no page, or one
        ASSERT_EQ(mount("tmpfs", folder.path.c_str(), "tmpfs", 0, size), 0);
        write_file(path, "former");
        EXPECT_EQ(modem_writelist(*list, path.c_str()), -1);
        EXPECT_EQ(errno, ENOSPC);
        EXPECT_EQ(read_file(path), "former");
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path), {}), 1);
        EXPECT_EQ(umount(folder.path.c_str()), 0);
    }
}
