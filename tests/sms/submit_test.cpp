// SPDX-License-Identifier: ISC
// Outgoing PDUs and their addresses, up to what fits.
#include "sms/submit.h"

#include <string>

#include <gtest/gtest.h>

#include "core/record/text.h"

namespace
{

TEST(submit, addressesAreSemiOctets)
{
    const struct {
        std::string phone;
        bool international;
        std::string field;  // empty: refused
    } cases[] = {
        {"12345", true, "05912143F5"},
        {"123456", true, "0691214365"},
        {"123456", false, "0681214365"},
        {"+7 (916) 123-45-67", true, "0B919761214365F7"},
        {"nobody", true, "0091"},
        {std::string(58, '1'), true, "3A91" + std::string(58, '1')},
        {std::string(59, '1'), true, ""},
        {std::string(80, '1'), true, ""},
    };
    for (const auto &c : cases) {
        char field[modem_addressmax];
        EXPECT_EQ(modem_getdafield(c.phone.c_str(), field, c.international),
                  c.field.empty() ? -1 : 0)
            << c.phone;
        EXPECT_EQ(field, c.field) << c.phone;
    }
}

TEST(submit, longestPduIsCountedWithoutServiceCentre)
{
    char pdu[modem_pdumax];
    int length = 0;
    char text[81];
    modem_copytext(text, std::string(80, '\xC0'));
    const std::string number(58, '1');
    EXPECT_EQ(modem_getpdupack(number.c_str(), text, pdu, length), 0);
    const std::string whole = pdu;
    EXPECT_EQ(whole.size(), 6U + 62U + 4U + 2U + 320U);
    EXPECT_EQ(whole.substr(68, 14), "0008A004100410");
    EXPECT_EQ(length, 196);
    EXPECT_EQ(modem_getpdupack((number + "1").c_str(), text, pdu, length), -1);
}

}  // namespace
