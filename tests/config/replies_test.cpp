// SPDX-License-Identifier: ISC
// Replies of the initialisation in all their shapes.
#include "config/replies.h"

#include <gtest/gtest.h>

TEST(replies, wordBehindTheMarkerAtTheHead)
{
    const struct {
        const char *reply, *marker, *word;
    } rows[] = {
        {"\r\nLTE-MODEM-1\r\n\r\nOK\r\n", nullptr, "LTE-MODEM-1"},
        {"\r\n two words\r\nOK\r\n", nullptr, "two"},
        {"\r\n+CGMR: LM1.04\r\n\r\nOK\r\n", "+CGMR:", "LM1.04"},
        {"+CGMR:LM1.04 built today\r\n", "+CGMR:", "LM1.04"},
        {"\r\nRDY\r\n+CGMR: LM1.04\r\n", "+CGMR:", ""},
        {"\r\n+CGMR:", "+CGMR:", ""},
        {"", nullptr, ""},
        {"\r\n", "+CGMR:", ""},
    };
    for (const auto &row : rows)
        EXPECT_EQ(modem_readword(row.reply, row.marker), row.word) << row.reply;
}

TEST(replies, simLockIsTheRestOfItsLine)
{
    const std::pair<const char *, const char *> rows[] = {
        {"\r\n+CPIN: READY\r\n\r\nOK\r\n", "READY"},
        {"\r\n+CPIN: PH-SIM PIN\r\n", "PH-SIM PIN"},
        {"SMS DONE\r\n+CPIN: SIM PUK\r", "SIM PUK"},
        {"\r\n+CPIN: READY", ""},
        {"\r\n+CPIN:READY\r\n", ""},
        {"\r\nOK\r\n", ""},
    };
    for (const auto &[reply, lock] : rows)
        EXPECT_EQ(modem_readsimlock(reply), lock) << reply;
}
