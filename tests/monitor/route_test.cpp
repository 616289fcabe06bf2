// SPDX-License-Identifier: ISC
// The kernel's route table: which line is the default route, and lines that no buffer holds.
#include "monitor/route.h"

#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

namespace
{

constexpr char heading[] = "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\n";

TEST(route, defaultRouteIsTheZeroDestinationOfTheInterface)
{
    const struct {
        const char *name;
        const char *line;
        bool expected;
    } cases[] = {
        {"default", "usb0\t00000000\t0101A8C0\t0003\t0\t0\t0\t00000000", true},
        {"only three items", "usb0 0 0101A8C0", true},
        {"heading", heading, false},
        {"another interface", "eth0\t00000000\t0101A8C0\t0003", false},
        {"longer name", "usb01\t00000000\t0101A8C0\t0003", false},
        {"a network", "usb0\t0001A8C0\t00000000\t0001", false},
        {"two items", "usb0\t00000000", false},
        {"no number", "usb0\t00000000\tgateway", false},
        {"empty", "", false},
    };
    for (const auto &c : cases) {
        std::uint32_t gateway = 0;
        EXPECT_EQ(modem_isdefaultroute(c.line, "usb0", gateway), c.expected) << c.name;
        EXPECT_EQ(gateway, c.expected ? 0x0101A8C0U : 0U) << c.name;
    }
}

TEST(route, firstDefaultRouteOfATableCounts)
{
    const std::string line = "usb0\t00000000\t0101A8C0\t0003\n";
    const std::string other = "eth0\t00000000\t0201A8C0\t0003\n";
    const std::pair<std::string, int> tables[] = {
        {heading + other + line + "usb0\t00000000\t0301A8C0\t0003\n", 0},
        {heading + std::string("usb0\t00000000\t0101A8C0"), 0},  // no line end at the end
        {std::string(5000, 'a') + "\n" + line, 0},               // cut, and the next line is whole
        {std::string(1500, 'a') + line, -1},                     // one line
        {heading + other, -1},
        {"", -1},
    };
    for (const auto &[table, expected] : tables) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        EXPECT_EQ(write(ends[1], table.data(), table.size()), std::ssize(table));
        close(ends[1]);
        std::uint32_t gateway = 0;
        EXPECT_EQ(modem_findgateway(ends[0], "usb0", gateway), expected) << table;
        close(ends[0]);
        EXPECT_EQ(gateway, expected == 0 ? 0x0101A8C0U : 0U) << table;
    }
    EXPECT_EQ(modem_getgateway("usb0", nullptr), -1);
}

}  // namespace
