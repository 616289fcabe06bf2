// SPDX-License-Identifier: ISC
// The list file: its image, damaged files, what it keeps of the former one, and every call of a
// save, failing and in its order.
#include "sms/list.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/mount.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "sms/listfile.h"
#include "tests/support/router.h"
#include "tests/support/scratch.h"

namespace
{

namespace fs = std::filesystem;

const std::string listpath = "/root/listsms.kelvantorium";

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

namespace
{

struct save : testing::Test {
    const scratch_folder folder;
    const std::string path = folder.path / "list";
    std::unique_ptr<sms_list> list = std::make_unique<sms_list>();

    // Saves a list with so many messages; 0 or the error.
    int saved(std::int32_t count = 0)
    {
        list->numsms = count;
        return modem_writelist(*list, path.c_str()) == 0 ? 0 : errno;
    }
    std::string image() const
    {
        return {reinterpret_cast<const char *>(list.get()), sizeof(*list)};
    }
};

long entriesof(const fs::path &folder)
{
    return std::distance(fs::directory_iterator(folder), {});
}

TEST_F(save, replacesTheFormerFileByAWholeOneOnTheDisk)
{
    const struct {
        const char *failing, *calls;
        int error;
    } rows[] = {
        {"write", "write close", ENOSPC},         {"fsync", "write fsync close", EIO},
        {"close", "write fsync close", EIO},      {"rename", "write fsync close rename", EIO},
        {"", "write fsync close rename sync", 0},
    };
    for (const auto &row : rows) {
        write_file(path, "former");
        failing = row.failing;
        calls.clear();
        EXPECT_EQ(saved(), row.error) << row.failing;
        failing.clear();
        EXPECT_EQ(calls, row.calls);
        EXPECT_EQ(read_file(path), row.error == 0 ? image() : "former");
        EXPECT_EQ(entriesof(folder.path), 1);
    }
    ASSERT_EQ(mount("tmpfs", folder.path.c_str(), "tmpfs", 0, "size=4096"), 0);
    write_file(path, "former");  // which takes the only page
    EXPECT_EQ(saved(), ENOSPC);
    EXPECT_EQ(read_file(path), "former");
    EXPECT_EQ(entriesof(folder.path), 1);
    EXPECT_EQ(umount(folder.path.c_str()), 0);
}

TEST_F(save, keepsModeAndOwnerOfTheFormerFile)
{
    const auto attributes = [this] {
        struct stat found = {};
        EXPECT_EQ(stat(path.c_str(), &found), 0);
        return std::array{found.st_mode & 07777U, found.st_uid, found.st_gid};
    };
    const mode_t mask = umask(0);
    EXPECT_EQ(saved(), 0);
    EXPECT_EQ(attributes()[0], 0600U) << "messages are nobody else's business";
    umask(077);
    for (const mode_t mode : {0600U, 0644U, 0660U}) {
        chmod(path.c_str(), mode);
        EXPECT_EQ(saved(), 0);
        EXPECT_EQ(attributes()[0], mode);
    }
    umask(mask);
    if (chown(path.c_str(), 4321, 8765) != 0) GTEST_SKIP() << "one user only";
    EXPECT_EQ(saved(), 0);
    EXPECT_EQ(attributes(), (std::array{0660U, 4321U, 8765U}));
}

TEST_F(save, followsLinksToTheFileThatIsReplaced)
{
    const std::string real = folder.path / "a/real";
    fs::create_directories(folder.path / "a/b");
    fs::create_symlink("a/b/second", path);
    fs::create_symlink("../real", folder.path / "a/b/second");
    for (const std::int32_t count : {1, 2}) {  // not there yet, then there
        EXPECT_EQ(saved(count), 0);
        EXPECT_TRUE(fs::is_symlink(path) && !fs::is_symlink(real));
        EXPECT_EQ(read_file(real), image());
    }
    write_file(real + ".new", "leftover");
    modem_removeleftover(path.c_str());
    EXPECT_EQ(entriesof(folder.path / "a"), 2);

    const std::pair<const char *, int> targets[] = {{"list", ELOOP}, {"/dev/null", 0}};
    for (const auto &[target, error] : targets) {
        fs::remove(path);
        fs::create_symlink(target, path);
        EXPECT_EQ(saved(), error) << target;
    }
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(save, overwritesWhereNothingCanReplaceTheFile)
{
    const auto bind = [](const std::string &place, unsigned long flags = 0) {
        EXPECT_EQ(mount(place.c_str(), place.c_str(), nullptr, MS_BIND | flags, nullptr), 0);
    };
    write_file(path, std::string(40000, 'x'));
    bind(path);
    EXPECT_EQ(saved(5), 0) << "it is a mount point";
    EXPECT_EQ(read_file(path), image());
    EXPECT_EQ(entriesof(folder.path), 1);
    umount(path.c_str());

    bind(folder.path);
    bind(path);
    bind(folder.path, MS_REMOUNT | MS_RDONLY);
    EXPECT_EQ(saved(6), 0) << "its folder takes no new file";
    EXPECT_EQ(read_file(path), image());
    umount(path.c_str());
    EXPECT_EQ(saved(7), EROFS) << "it takes no octet";
    umount(folder.path.c_str());
}

TEST_F(save, damagedFilesReadAsFarAsTheyGo)
{
    EXPECT_EQ(modem_readlist(*list, path.c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
    for (const char *count : {"\x21\0\0\0", "\xFF\xFF\xFF\xFF"}) {
        write_file(path, std::string(count, 4) + std::string(31904, '\xFF'));
        EXPECT_EQ(modem_readlist(*list, path.c_str()), 0);
        EXPECT_EQ(list->numsms, 0) << "no ring has that count";
        EXPECT_EQ(std::string(list->entries[31].text).size(), 960U);
        EXPECT_EQ(std::string(list->entries[0].phone).size(), 15U);
    }
    write_file(path, std::string("\x20\0\0\0short", 9));
    EXPECT_EQ(modem_readlist(*list, path.c_str()), 0);
    EXPECT_EQ(list->numsms, 32);
    EXPECT_EQ(std::string(list->entries[0].phone).substr(0, 6), "short\xFF") << "the rest stays";
}

TEST(list, imageHasItsPlacesAndNothingOfFormerMessages)
{
    const auto state = std::make_unique<modem_state>();
    std::memset(state->sms_list.entries, '7', sizeof(state->sms_list.entries));
    const sms_sender bank = "Bank";
    EXPECT_EQ(modem_appendsms(state.get(), bank, "16-11-2024 17:02:04", "text"), 1);
    const std::string image = read_file(listpath);
    EXPECT_EQ(image.size(), 31908U);
    EXPECT_EQ(image.substr(0, 20), std::string("\1\0\0\0Bank", 8).append(12, '\0'));
    EXPECT_EQ(image.substr(4 + 997), std::string(31 * 997, '7'));
    fs::remove(listpath);
}

TEST(list, lossIsLoggedOncePerKindUntilASaveSucceeds)
{
    virtual_router router({.broker = false, .start = false});
    openlog("kelvantorium", 0, LOG_DAEMON);
    const auto state = std::make_unique<modem_state>();
    const std::string next = listpath + ".new";
    const struct {
        std::string folder;
        bool isthere;
        int result;
    } rows[] = {
        {next, true, -1}, {listpath, true, -1}, {listpath, false, -1},
        {next, false, 0}, {next, true, -1},
    };
    for (const auto &[folder, isthere, result] : rows) {
        EXPECT_TRUE(isthere ? fs::create_directory(folder) : fs::remove(folder));
        for (int i = 0; i < 2; i++)
            EXPECT_EQ(modem_savelistsms(state.get()), result);
    }
    fs::remove(next);
    const std::string line = "err modem_savelistsms: list not saved: ";
    const std::string exists = line + "File exists", folder = line + "Is a directory";
    EXPECT_TRUE(wait_until([&] { return router.log().size() >= 3; }));
    EXPECT_EQ(router.log(), (std::vector{exists, folder, exists}));

    write_file(next, "half");
    EXPECT_EQ(modem_loadlistsms(state.get()), 0);
    EXPECT_FALSE(fs::exists(next)) << "a leftover goes at the start";
}

}  // namespace
