// Which fields each writer of default words touches, and which it leaves.
#include "monitor/defaults.h"

#include <cstring>

#include <gtest/gtest.h>

namespace
{

modem_status filled()
{
    modem_status status;
    std::memset(&status, 'x', sizeof(status));
    return status;
}

template <typename group>
bool same(const group &a, const group &b)
{
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

TEST(defaults, eachWriterStaysInItsGroups)
{
    const modem_status before = filled();
    modem_status status = before;
    EXPECT_EQ(modem_setgnssdefaults(status), 0);
    EXPECT_STREQ(status.info.gnss.datetime, "01-01-2000 00:00:00");
    EXPECT_TRUE(same(status.info.network, before.info.network));

    status = before;
    EXPECT_EQ(modem_setnetworkdefaults(status), 0);
    const auto &network = status.info.network;
    EXPECT_STREQ(network.state, "disconnected");
    EXPECT_STREQ(network.level, "no signal");
    EXPECT_STREQ(network.rssi, "-110.00");
    EXPECT_STREQ(network.rscp, "-124.00");
    EXPECT_STREQ(network.ecio, "-20.00");
    EXPECT_STREQ(network.rsrp, "-100.00");
    EXPECT_STREQ(network.rsrq, "-20.00");
    EXPECT_STREQ(network.sinr, "0.00");
    EXPECT_STREQ(network.tx_counter, "0");
    for (const char *word : {network.provider, network.type, network.ip, network.gateway})
        EXPECT_STREQ(word, "none");
    EXPECT_TRUE(same(status.info.gnss, before.info.gnss));
    EXPECT_TRUE(same(status.info.modem, before.info.modem));

    EXPECT_EQ(modem_setstatusdefaults(status), 0);
    EXPECT_STREQ(status.info.modem.slot2_state, "empty");
    EXPECT_STREQ(status.info.sim.iccid, "none");
    EXPECT_STREQ(status.info.gnss.state, "unavailable");
    EXPECT_STREQ(status.info.ussd.answer, "none");
    EXPECT_TRUE(same(status.settings, before.settings));
    EXPECT_TRUE(same(status.info.kelvantorium, before.info.kelvantorium));
    EXPECT_TRUE(same(status.info.sms, before.info.sms));
}

}  // namespace
