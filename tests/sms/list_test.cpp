// SPDX-License-Identifier: ISC
// The list file: its image, damaged files, what it keeps of the former one, failing and killed
// saves.
#include "sms/list.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "core/record/text.h"
#include "simulator/router/process.h"
#include "sms/listfile.h"
#include "tests/support/router.h"
#include "tests/support/scratch.h"

namespace
{

struct smsfile : testing::Test {
    const scratch_folder folder;
    const std::string path = folder.path / "list";
    std::unique_ptr<sms_list> list = std::make_unique<sms_list>();
};

TEST_F(smsfile, imageHasItsPlacesAndSize)
{
    list->numsms = 2;
    modem_copytext(list->entries[1].phone, "79161234567");
    modem_copytext(list->entries[1].timestamp, "16-11-2024 17:02:04");
    modem_copytext(list->entries[1].text, "text");
    ASSERT_EQ(modem_writelist(*list, path.c_str()), 0);
    ASSERT_EQ(modem_writelist(*list, path.c_str()), 0);
    const std::string octets = read_file(path);
    ASSERT_EQ(octets.size(), 31908U);
    EXPECT_EQ(octets[0], 2);
    EXPECT_STREQ(octets.c_str() + 4 + 997, "79161234567");
    EXPECT_STREQ(octets.c_str() + 4 + 997 + 16, "16-11-2024 17:02:04");
    EXPECT_STREQ(octets.c_str() + 4 + 997 + 36, "text");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path), {}), 1);
}

TEST(smslist, newSenderLeavesNothingOfTheFormerOne)
{
    const auto state = std::make_unique<modem_state>();
    std::memset(state->sms_list.entries, '7', sizeof(state->sms_list.entries));
    const sms_sender bank = "Bank";
    EXPECT_EQ(modem_appendsms(state.get(), bank, "16-11-2024 17:02:04", "text"), 1);
    const std::string image = read_file("/root/listsms.kelvantorium");
    EXPECT_EQ(image.substr(4, 16), std::string("Bank").append(12, '\0'));
    EXPECT_EQ(image.substr(4 + 997, 16), std::string(16, '7'));
    unlink("/root/listsms.kelvantorium");
}

TEST_F(smsfile, damagedFilesReadAsFarAsTheyGo)
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

struct attributes {
    mode_t mode;
    uid_t owner;
    gid_t group;

    bool operator==(const attributes &) const = default;
};

attributes attributesof(const std::string &path)
{
    struct stat found = {};
    EXPECT_EQ(stat(path.c_str(), &found), 0) << path;
    return {found.st_mode & 07777, found.st_uid, found.st_gid};
}

TEST_F(smsfile, saveKeepsModeAndOwnerOfTheFormerFile)
{
    const mode_t mask = umask(0);
    ASSERT_EQ(modem_writelist(*list, path.c_str()), 0);
    EXPECT_EQ(attributesof(path).mode, 0600U) << "messages are nobody else's business";
    umask(077);
    for (const mode_t mode : {0600U, 0644U, 0660U}) {
        chmod(path.c_str(), mode);
        EXPECT_EQ(modem_writelist(*list, path.c_str()), 0);
        EXPECT_EQ(attributesof(path).mode, mode);
    }
    umask(mask);
    if (chown(path.c_str(), 4321, 8765) != 0) GTEST_SKIP() << "one user only";
    EXPECT_EQ(modem_writelist(*list, path.c_str()), 0);
    EXPECT_EQ(attributesof(path), (attributes{0660, 4321, 8765}));
}

TEST_F(smsfile, linksLeadToTheFileThatIsReplaced)
{
    const std::string folders = folder.path / "a/b";
    std::filesystem::create_directories(folders);
    const std::string real = folder.path / "a/real";
    ASSERT_EQ(symlink("a/b/second", path.c_str()), 0);
    ASSERT_EQ(symlink("../real", (folders + "/second").c_str()), 0);
    for (const std::int32_t count : {1, 2}) {  // not there yet, then there
        list->numsms = count;
        ASSERT_EQ(modem_writelist(*list, path.c_str()), 0);
        EXPECT_TRUE(std::filesystem::is_symlink(path) && !std::filesystem::is_symlink(real));
        EXPECT_EQ(read_file(real).substr(0, 1), std::string(1, static_cast<char>(count)));
    }
    write_file(real + ".new", "leftover");
    modem_removeleftover(path.c_str());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path / "a"), {}), 2);

    unlink(path.c_str());
    ASSERT_EQ(symlink("list", path.c_str()), 0);
    EXPECT_EQ(modem_writelist(*list, path.c_str()), -1);
    EXPECT_EQ(errno, ELOOP);
    unlink(path.c_str());
    ASSERT_EQ(symlink("/dev/null", path.c_str()), 0);
    EXPECT_EQ(modem_writelist(*list, path.c_str()), 0) << "nothing is to be kept";
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(smsfile, isWrittenInPlaceWhereNothingCanReplaceIt)
{
    write_file(path, std::string(40000, 'x'));
    ASSERT_EQ(mount(path.c_str(), path.c_str(), nullptr, MS_BIND, nullptr), 0);
    list->numsms = 5;
    EXPECT_EQ(modem_writelist(*list, path.c_str()), 0) << "it is a mount point";
    EXPECT_EQ(read_file(path), std::string(reinterpret_cast<char *>(list.get()), 31908));
    EXPECT_NE(access((path + ".new").c_str(), F_OK), 0);
    umount(path.c_str());

    const std::string place = folder.path;
    ASSERT_EQ(mount(place.c_str(), place.c_str(), nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(path.c_str(), path.c_str(), nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(nullptr, place.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
    list->numsms = 6;
    EXPECT_EQ(modem_writelist(*list, path.c_str()), 0) << "its folder takes no new file";
    EXPECT_EQ(read_file(path).substr(0, 1), "\6");
    umount(path.c_str());
    EXPECT_EQ(modem_writelist(*list, path.c_str()), -1) << "it takes no octet";
    EXPECT_EQ(errno, EROFS);
    umount(place.c_str());
}

TEST(smsloss, isLoggedOncePerKindUntilASaveSucceeds)
{
    virtual_router router({.broker = false, .start = false});
    openlog("kelvantorium", 0, LOG_DAEMON);
    const std::string path = "/root/listsms.kelvantorium";
    const auto state = std::make_unique<modem_state>();
    const auto failtwice = [&] {
        for (int i = 0; i < 2; i++)
            EXPECT_EQ(modem_savelistsms(state.get()), -1);
    };
    std::filesystem::create_directory(path + ".new");
    failtwice();
    std::filesystem::create_directory(path);
    failtwice();
    std::filesystem::remove(path);
    failtwice();
    std::filesystem::remove(path + ".new");
    EXPECT_EQ(modem_savelistsms(state.get()), 0);
    std::filesystem::create_directory(path + ".new");
    failtwice();
    std::filesystem::remove(path + ".new");
    const std::string line = "err modem_savelistsms: list not saved: ";
    const std::string exists = line + "File exists", folder = line + "Is a directory";
    EXPECT_TRUE(wait_until([&] { return router.log().size() >= 3; }));
    EXPECT_EQ(router.log(), (std::vector{exists, folder, exists}));

    write_file(path + ".new", "half");
    EXPECT_EQ(modem_loadlistsms(state.get()), 0);
    EXPECT_NE(access((path + ".new").c_str(), F_OK), 0) << "a leftover goes at the start";
}

// The child saves list after list, each filled with its count, and tells of each when it is saved.
[[noreturn]] void saveforever(sms_list &list, const std::string &path, int told)
{
    for (std::int32_t k = 1;; k = k % 32 + 1) {
        list.numsms = k;
        for (sms_entry &entry : list.entries)
            modem_settext(entry.text, "%d", k);
        if (modem_writelist(list, path.c_str()) != 0) _exit(1);
        (void)!write(told, &k, sizeof(k));
    }
}

TEST_F(smsfile, killedSaveLosesNoOlderList)
{
    for (unsigned round = 0; round < 12; round++) {
        int told[2];
        ASSERT_EQ(pipe(told), 0);
        const pid_t child = fork();
        if (child == 0) saveforever(*list, path, told[1]);
        close(told[1]);
        std::int32_t last = 0;
        ASSERT_EQ(read(told[0], &last, sizeof(last)), 4) << "the first list is there";
        usleep(1000 * round);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        while (read(told[0], &last, sizeof(last)) == 4) {
        }
        close(told[0]);
        ASSERT_EQ(read_file(path).size(), 31908U);
        ASSERT_EQ(modem_readlist(*list, path.c_str()), 0);
        EXPECT_TRUE(list->numsms == last || list->numsms == last % 32 + 1) << list->numsms;
        for (const sms_entry &entry : list->entries)
            EXPECT_EQ(entry.text, std::to_string(list->numsms));
    }
}

}  // namespace
