// SPDX-License-Identifier: ISC
// Replies to AT+CPMS?: how many places the storage has.
#include "sms/storage.h"

#include <gtest/gtest.h>

TEST(storage, capacityIsTheTotalOfTheFirstStorage)
{
    const std::pair<const char *, unsigned> rows[] = {
        {"\r\n+CPMS: \"SM\",0,40,\"ME\",1,50,\"MT\",2,60\r\n\r\nOK\r\n", 40},
        {"\r\n+CPMS: \"SM\",3,255,\"SM\",3,255\r\n", 255},
        {"\r\n+CPMS: \"SM\",3,256,\"SM\"", 255},
        {"\r\n+CPMS: \"SM\",3,300,\"SM\"", 255},
        {"\r\n+CPMS: \"SM\",0,40\r\n\r\nOK\r\n", 0},
        {"\r\n+CPMS: \"SM\",0,,\"SM\"", 0},
        {"\r\n+CPMS: \"SM\",0,many,\"SM\"", 0},
        {"\r\nOK\r\n", 0},
        {"", 0},
    };
    for (const auto &[reply, capacity] : rows)
        EXPECT_EQ(modem_readcapacity(reply), capacity) << reply;
}
