// SPDX-License-Identifier: ISC
// Replies to AT+CADC=2: which slots hold a card.
#include "indicators/adc.h"

#include <gtest/gtest.h>

TEST(adc, readingTellsTheSlots)
{
    const std::pair<const char *, std::optional<unsigned>> rows[] = {
        {"\r\n+CADC: 0\r\n\r\nOK\r\n", 0},
        {"+CADC: 769\r", 0},
        {"+CADC: 770\r", 1},
        {"+CADC: 1009\r", 1},
        {"+CADC: 1010\r", 2},
        {"+CADC: 1389\r", 2},
        {"+CADC: 1390\r", 3},
        {"+CADC: 99999\r", 3},
        {"+CADC: 770\n", std::nullopt},
        {"+CADC: \r\n", std::nullopt},
        {"OK\r", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto &[reply, slotmask] : rows)
        EXPECT_EQ(modem_readslots(reply), slotmask) << reply;
}
