// SPDX-License-Identifier: ISC
// Messages from the modem's storage to the ring.
#include "sms/receive.h"

#include <vector>

#include <gtest/gtest.h>

#include "sms/send.h"
#include "tests/at/rig.h"
#include "tests/sms/traces.h"

namespace
{

constexpr unsigned timeout = 60000;  // ms, never reached

// A part as four characters: reference, parts, number, and the single character of its 8-bit text.
std::string pdu(const std::string &part, char sender = '1')
{
    char hex[128];
    std::snprintf(hex, sizeof(hex),
                  "07919761989901F0440B91976121436%cF70004421161712040210806080400%02X0%c0%c%02X",
                  sender, part[0] - '0', part[1], part[2], part[3]);
    return hex;
}

int receive(const rig &modem, const std::string &hex)
{
    modem.answer("\r\n+CMGR: 0,,23\r\n" + hex + "\r\n\r\nOK\r\n");
    return modem_readsms(modem.state.get(), 7, timeout);
}

TEST(sms, partsJoinInOrder)
{
    const struct {
        const char *name;
        std::vector<std::string> parts;
        std::string texts;
    } rows[] = {
        {"in order", {"921a", "922b"}, "ab "},
        {"second part first", {"922b", "921a"}, "ab "},
        {"one is missing", {"931a", "933c"}, ""},
        {"interleaved", {"921a", "822d", "922b", "821c"}, "ab cd "},
        {"a part that comes twice counts twice", {"921a", "921x"}, "x "},
        {"a reference is used again", {"921a", "922b", "921c", "922d"}, "ab cd "},
        {"reference zero", {"021a", "022b"}, "ab "},
        {"a single part waits for nothing", {"911a"}, "a "},
        {"six of eight", {"987g", "986f", "985e", "984d", "983c", "982b", "981a"}, "abcdef "},
        // 1 to 4 take entries 5 to 2; 5 takes the first, which 6 takes over.
        {"the sixth reference takes the first entry",
         {"121a", "221b", "321c", "421d", "531e", "532E", "631f", "632F", "633!", "122A"},
         "fF! aA "},
    };
    for (const auto &row : rows) {
        const rig modem;
        for (const std::string &part : row.parts)
            EXPECT_EQ(receive(modem, pdu(part)), 0) << row.name;
        std::string texts;
        for (std::int32_t i = 0; i < modem.state->sms_list.numsms; i++)
            texts += std::string(modem.state->sms_list.entries[i].text) + " ";
        EXPECT_EQ(texts, row.texts) << row.name;
    }
}

TEST(sms, completingPartGivesTheSender)
{
    const rig modem;
    receive(modem, pdu("322b", '1'));
    EXPECT_EQ(modem.state->longsms_table[4].recvparts, 1U) << "the last free entry";
    EXPECT_STREQ(modem.state->longsms_table[4].timestamp, "16-11-2024 17:02:04");
    EXPECT_TRUE(tracesof([&] { receive(modem, pdu("321a", '5')); })
                    .ends_with("modem_readsms: output_sms_text[1]=a\n"
                               "modem_readsms: find randref: recvparts=2, countparts=2\n"
                               "modem_readsms: output_sms_text_length=3 message[1]=ab\n"));
    EXPECT_STREQ(modem.state->sms_list.entries[0].phone, "79161234567");
    EXPECT_EQ(modem.command(), "AT+CMGR=7\r");
    EXPECT_EQ(modem.state->longsms_table[4].recvparts, 0U);
}

TEST(sms, indexIsDeletedOnlyWhenItHeldAMessage)
{
    const std::string nohead = "modem_readsms: \"+CMGR:\" not found\n";
    const std::string tooshort = "modem_readsms: ERROR nbytes=2<28\n";
    const struct {
        std::string reply;
        int result;
        std::string trace;  // at the end
    } rows[] = {
        {"\r\nOK\r\n", 2, ""},
        {"\r\n+CMS ERROR: 321\r\n", 2, ""},
        {"\r\n+CMGR: 0,,0\r\n\r\nOK\r\n", 0, ""},
        {"\r\n+CMGR: 1,,23\r\n0791\r\nOK\r\n", 2, "modem_readsms: \"\\r\\n\\r\\nOK\" not found\n"},
        {"\r\n0791\r\n\r\nOK\r\n", 2, nohead},
        {"0791\r\n\r\nOK\r\n+CMGR: 1\r\n", 2, nohead},
        {"\r\n+CMGR: 0,,2\r\n0791\r\n\r\nOK\r\n", 0, tooshort},
        {"\r\n+cmgr: 0,,2\r\n0791\r\n\r\nok\r\n", 0, tooshort},
        {"\r\n+CMGR: 0,,250\r\n" + std::string(500, '1') + "\r\n\r\nOK\r\n", 0,
         "TP-SCA[0]=0x11 != 0x07\n"},
    };
    const rig modem;
    for (const auto &[reply, result, trace] : rows) {
        modem.answer(reply);
        int found = -1;
        const std::string traces =
            tracesof([&] { found = modem_readsms(modem.state.get(), 1, timeout); });
        EXPECT_EQ(found, result) << reply;
        EXPECT_TRUE(traces.ends_with(trace)) << reply << traces;
    }
    EXPECT_EQ(modem.state->sms_list.numsms, 0);
    modem.state->ismodemconnect = 0;
    EXPECT_EQ(modem_readsms(modem.state.get(), 1, timeout), -1);
}

TEST(sms, whatDoesNotFitIsNotSent)
{
    const rig modem;
    EXPECT_EQ(modem_sendsmsinpdu(modem.state.get(), std::string(59, '1').c_str(), timeout), 2);
    EXPECT_EQ(modem.command(), "");
}

}  // namespace
