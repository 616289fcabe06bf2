// SPDX-License-Identifier: ISC
// The groups of default words: each is written whole, and alone.
#include "monitor/defaults.h"

#include <algorithm>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace
{

TEST(defaults, groupsAreWrittenWholeAndAlone)
{
    const std::string gnss = "unavailable 2d 0 north 0 east 0 0 0 0 0 0 01-01-2000 00:00:00 ";
    const std::string network =
        "disconnected none none no signal -110.00 -124.00 -20.00 -100.00 "
        "-20.00 0.00 none none 0 0 ";
    const std::string start = "none none none empty empty none none ";
    const std::pair<int (*)(modem_status &), std::string> groups[] = {
        {modem_setgnssdefaults, gnss},
        {modem_setnetworkdefaults, network},
        {modem_setstatusdefaults, start + gnss + network + "stopped none none "},
    };
    for (const auto &[write, expected] : groups) {
        modem_status status;
        std::memset(&status, '#', sizeof(status));
        EXPECT_EQ(write(status), 0);
        std::string written(reinterpret_cast<const char *>(&status), sizeof(status));
        std::erase(written, '#');
        std::replace(written.begin(), written.end(), '\0', ' ');
        EXPECT_EQ(written, expected);
    }
}

}  // namespace
