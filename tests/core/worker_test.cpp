// The worker and its pipe.
#include "core/worker.h"

#include <algorithm>
#include <pthread.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "core/command.h"
#include "core/flags.h"
#include "core/thread.h"
#include "tests/daemon/bench.h"

namespace
{

void wait_until(const std::function<bool()> &condition)
{
    for (int looks = 0; looks < 30000 && !condition(); looks++)
        usleep(1000);
    EXPECT_TRUE(condition());
}

bool is_logged(const std::string &line)
{
    const std::vector<std::string> log = modem_bench::log();
    return std::find(log.begin(), log.end(), line) != log.end();
}

TEST(worker, servesCommandsInOrderAndCountsInitialisations)
{
    modem_bench bench;
    modem_bench::configure("");
    modem_state *record = bench.record();
    modem_setflag(record->isinitpending, 1);
    modem_setflag(record->istaskalive, 1);
    ASSERT_EQ(pthread_create(&record->taskid, nullptr, modem_task, record), 0);
    const pthread_t task = record->taskid;
    wait_until([&] { return modem_getflag(record->isinitpending) == 0; });
    EXPECT_STREQ(record->working.info.kelvantorium.reinit_counter, "0");
    EXPECT_STREQ(record->working.info.kelvantorium.state, "op");

    ASSERT_EQ(write(record->fdcmd[1], "\1", 2), 2);
    wait_until([] { return is_logged("4 modem_task: read(pmod->fdcmd) nbytes(2) != 4"); });
    const std::uint32_t unknown = 77;
    ASSERT_EQ(write(record->fdcmd[1], &unknown, 4), 4);
    wait_until([] { return is_logged("4 modem_task: got unsupported cmd=77"); });

    const std::uint32_t twice[] = {modemcmdInit, modemcmdInit};
    ASSERT_EQ(write(record->fdcmd[1], twice, 8), 8);
    ASSERT_EQ(modem_sendcommand(record, modemcmdStop), 0);
    ASSERT_EQ(pthread_join(task, nullptr), 0);
    EXPECT_STREQ(record->working.info.kelvantorium.reinit_counter, "2");
    EXPECT_EQ(record->fdcmd[0], -1);
    EXPECT_EQ(record->fdcmd[1], -1);
    EXPECT_EQ(record->taskid, static_cast<pthread_t>(-1));
    EXPECT_EQ(modem_bench::log().back(), "6 modem_task: done ok");
    EXPECT_EQ(modem_sendcommand(record, modemcmdInit), -1);  // nobody is there any more
}

TEST(thread, stackIsAtLeast128KiB)
{
    struct {
        std::uint32_t requested;
        std::size_t size;
    } const rows[] = {
        {0, 131072}, {1, 131072}, {131071, 131072}, {131072, 131072}, {262144, 262144}};
    for (const auto &row : rows) {
        common_attr attributes = {};
        attributes.stacksize = row.requested;
        ASSERT_EQ(common_setattr("test", &attributes), 0);
        std::size_t size = 0;
        EXPECT_EQ(pthread_attr_getstacksize(&attributes.attr, &size), 0);
        EXPECT_EQ(size, row.size);
        EXPECT_EQ(common_clearattr("test", &attributes), 0);
    }
    EXPECT_EQ(common_setattr(nullptr, nullptr), -1);
    EXPECT_EQ(common_setattr("test", nullptr), -1);
    EXPECT_EQ(common_clearattr(nullptr, nullptr), -1);
}

}  // namespace
