// SPDX-License-Identifier: ISC
// The kernel's route table: which line is the default route, and lines that no buffer holds.
#include "monitor/route.h"

#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

TEST(route, firstZeroDestinationOfTheInterfaceCounts)
{
    const std::string heading = "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\n";
    const std::string line = "usb0\t00000000\t0101A8C0\t0003\t0\t0\t0\t00000000\n";
    const std::string second = "usb0\t00000000\t0301A8C0\t0003\n";
    const std::pair<std::string, bool> tables[] = {
        {heading + "eth0\t00000000\t0201A8C0\t0003\n" + line + second, true},
        {"usb0\t0001A8C0\t00000000\t0001\n" + line, true},
        {"usb0 0 0101A8C0", true},                     // three items, no line end
        {std::string(5000, 'a') + "\n" + line, true},  // cut, and the next line is whole
        {std::string(1500, 'a') + line, false},        // one line
        {heading, false},
        {"usb01\t00000000\t0101A8C0\t0003\n", false},
        {"usb0\t00000000\n", false},
        {"usb0\t00000000\tgateway\n", false},
        {"", false},
    };
    for (const auto &[table, expected] : tables) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        EXPECT_EQ(write(ends[1], table.data(), table.size()), std::ssize(table));
        close(ends[1]);
        std::uint32_t gateway = 0;
        EXPECT_EQ(modem_findgateway(ends[0], "usb0", gateway), expected ? 0 : -1) << table;
        close(ends[0]);
        EXPECT_EQ(gateway, expected ? 0x0101A8C0U : 0U) << table;
    }
}
