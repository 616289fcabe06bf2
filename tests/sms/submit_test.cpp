// Outgoing PDUs and recipient lists.
#include "sms/submit.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"

namespace
{

struct list_case {
    const char *list;
    std::vector<std::string> numbers;
};

TEST(submit, splitsRecipientLists)
{
    const list_case cases[] = {
        {"111;222;333", {"111", "222", "333"}},
        {"111;222;", {"111", "222"}},
        {";111", {"111"}},
        {"111;;222", {"111", "222"}},
        {"1;2;3;4;5;6", {"1", "2", "3", "4", "5"}},
        {";;;", {}},
        {"", {}},
    };
    for (const list_case &c : cases) {
        char list[81] = {};
        modem_copytext(list, c.list);
        char numbers[5][81];
        const int count = modem_splitsmsnumbers(list, numbers);
        EXPECT_EQ(std::vector<std::string>(numbers, numbers + count), c.numbers) << c.list;
        for (int i = count; i < 5; i++)
            EXPECT_STREQ(numbers[i], "") << c.list;
    }
}

struct address_case {
    std::string phone;
    bool international;
    std::string field;  // empty: refused
};

TEST(submit, addressesAreSemiOctets)
{
    const address_case cases[] = {
        {"12345", true, "05912143F5"},
        {"123456", true, "0691214365"},
        {"123456", false, "0681214365"},
        {"+7 (916) 123-45-67", true, "0B919761214365F7"},
        {"nobody", true, "0091"},
        {std::string(58, '1'), true, "3A91" + std::string(58, '1')},
        {std::string(59, '1'), true, ""},
        {std::string(80, '1'), true, ""},
    };
    for (const address_case &c : cases) {
        char field[modem_addressmax];
        EXPECT_EQ(modem_getdafield(c.phone.c_str(), field, c.international),
                  c.field.empty() ? -1 : 0)
            << c.phone;
        EXPECT_EQ(field, c.field) << c.phone;
    }
}

TEST(submit, pdusAreUcs2AndCountedWithoutServiceCentre)
{
    char pdu[modem_pdumax];
    int length = 0;
    char text[81] = "A";
    EXPECT_EQ(modem_getpdupack("79161234567", text, pdu, length), 0);
    EXPECT_STREQ(pdu, "0001000B919761214365F70008020041");
    EXPECT_EQ(length, 15);
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
