// SPDX-License-Identifier: ISC
// The worker and its pipe.
#include "core/life/worker.h"

#include <pthread.h>
#include <syslog.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "core/record/command.h"
#include "core/record/flags.h"
#include "core/record/state.h"
#include "tests/support/router.h"

// There is no modem: every initialisation ends at its ports.
TEST(worker, servesCommandsInOrderAndCountsInitialisations)
{
    virtual_router router({.broker = false, .start = false});
    openlog("kelvantorium", 0, LOG_DAEMON);
    const auto record = std::make_unique<modem_state>();
    record->fdcom = record->fdcom2 = -1;
    record->isinitpending = record->istaskalive = 1;
    ASSERT_EQ(pthread_create(&record->taskid, nullptr, modem_task, record.get()), 0);
    const pthread_t task = record->taskid;
    ASSERT_TRUE(wait_until([&] { return modem_getflag(record->isinitpending) == 0; }));
    ASSERT_EQ(write(record->fdcmd[1], "\1", 2), 2);
    EXPECT_TRUE(router.logs("warning modem_task: read(pmod->fdcmd) nbytes(2) != 4"));
    const std::uint32_t commands[] = {77, modemcmdInit, modemcmdInit, modemcmdStop};
    ASSERT_EQ(write(record->fdcmd[1], commands, sizeof(commands)), 16);
    ASSERT_EQ(pthread_join(task, nullptr), 0);
    EXPECT_TRUE(router.logs("info modem_task: done ok"));
    EXPECT_TRUE(router.logs("warning modem_task: got unsupported cmd=77"));
    EXPECT_STREQ(record->working.info.kelvantorium.reinit_counter, "2");
    EXPECT_TRUE(record->fdcmd[0] == -1 && record->fdcmd[1] == -1);
    EXPECT_EQ(record->taskid, static_cast<pthread_t>(-1));
    EXPECT_EQ(modem_sendcommand(record.get(), modemcmdInit), -1);  // nobody is there any more
}
