// SPDX-License-Identifier: ISC
// The list file: its image, damaged files, failing and killed saves.
#include "sms/list.h"

#include <cerrno>
#include <csignal>
#include <memory>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "core/record/text.h"
#include "simulator/router/process.h"
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

TEST_F(smsfile, failedSaveKeepsTheFormerFile)
{
    write_file(path, "former");
    mkdir((path + ".new").c_str(), 0700);  // where the new image would be written
    EXPECT_EQ(modem_writelist(*list, path.c_str()), -1);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(read_file(path), "former");
    const std::string taken = path + ".new";  // now a folder is in the place of the list
    EXPECT_EQ(modem_writelist(*list, taken.c_str()), -1);
    EXPECT_NE(access((taken + ".new").c_str(), F_OK), 0) << "nothing is left behind";
    EXPECT_EQ(modem_writelist(*list, (path + "/missing/list").c_str()), -1);
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
