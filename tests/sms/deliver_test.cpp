// SPDX-License-Identifier: ISC
// Decoding of received PDUs at the limits of the profile and its codings; docs/sms.md has the
// ordinary ones.
#include "sms/deliver.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sms/text.h"
#include "tests/sms/traces.h"

namespace
{

const std::string centre = "07919761989901F0";
const std::string digits = "0B919761214365F7";
const std::string timestamp = "42116171204021";

// ABCDEFGH, 7-bit, without a header; the same as the parts of other PDUs here.
const std::string plain = centre + "04" + digits + "0000" + timestamp + "0841E19058341E91";
const std::string ucs2 = centre + "24" + digits + "0008" + timestamp + "06041F04400438";
// "Hello", part 1 of 2 with reference 3A: seven septets are header.
const std::string narrow = centre + "44" + digits + "0010" + timestamp + "0C0500033A0201906536FB0D";
// "World", part 2 of 3 with reference 1234: eight septets are header.
const std::string wide = centre + "60" + digits + "0000" + timestamp + "0D06080412340302D7B79C4D06";

std::string with(const std::string &hex, std::size_t octet, const std::string &value)
{
    return std::string(hex).replace(2 * octet, value.size(), value);
}

std::string repeated(const std::string &text, unsigned count)
{
    return count == 0 ? "" : text + repeated(text, count - 1);
}

// Decodes out of buffers of the very size, so that a sanitizer sees any octet read beyond.
bool decode(const std::string &hex, modem_deliver &message)
{
    std::vector<std::uint8_t> octets(hex.size() / 2);
    modem_hextobin(hex, octets);
    const std::vector<char> text(hex.begin(), hex.end());
    return modem_decodedeliver({text.data(), text.size()}, octets, message);
}

TEST(deliver, decodesWhatFitsTheProfile)
{
    const std::string of70 = centre + "04" + digits + "0008" + timestamp + "8C";
    const std::string seventy = repeated("0410", 70);
    const std::string of160 = centre + "04" + digits + "0000" + timestamp + "A0";
    const std::string packed = repeated("783C1E8FC7E3F1", 20);
    const std::string eightbit = centre + "04" + digits + "0004" + timestamp;
    const std::string name = centre + "04";
    const std::string rest = "0000" + timestamp + "0841E19058341E91";
    const std::string number = "79161234567";
    const struct {
        const char *name;
        std::string pdu;
        std::string sender;
        std::string text;
        unsigned length;
        const char *timestamp = "16-11-2024 17:02:04";
    } cases[] = {
        {"70 ucs2 characters", of70 + seventy, number, std::string(70, '\xC0'), 70},
        {"octets behind the 70th are cut", of70 + seventy + "04100410", number,
         std::string(70, '\xC0'), 70},
        {"an odd last octet is no character", ucs2 + "04", number, "\xCF\xF0\xE8", 3},
        {"one octet of ucs2 is no text", with(ucs2, 26, "0104").substr(0, 56), number, "", 0},
        {"160 septets", of160 + packed, number, std::string(160, 'x'), 160},
        {"8-bit goes by the octets, not TP-UDL", eightbit + "01" + repeated("41", 141), number,
         std::string(140, 'A'), 140},
        {"a NUL ends the text", eightbit + "03410042", number, "A", 3},
        {"nothing behind TP-UDL", name + "0E9111223344556677" + "0000" + timestamp + "00",
         "11223344556677", "", 0},
        {"name of 7", name + "0ED0C2303BEC1E9701" + rest, "Balance", "ABCDEFGH", 8},
        {"name of 11 in 10 octets", name + "14D0CDB738CD2E43C379190D" + rest, "MobilePay2",
         "ABCDEFGH", 8},
        {"name beyond the field", name + "28D041E19058341E9149E592D9743EA151E9945AB502" + rest,
         "ABCDEFGHIJKLMNO", "ABCDEFGH", 8},
        {"number beyond the field", name + "1491112233445566778899AA" + rest, "112233445566778",
         "ABCDEFGH", 8},
        {"no number", name + "0091" + rest, "", "ABCDEFGH", 8},
        {"impossible time", with(plain, 19, "FFFFFFFFFFFFFF"), number, "ABCDEFGH", 8,
         "165-165-20165 165:1"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        modem_deliver message;
        ASSERT_TRUE(decode(c.pdu, message));
        EXPECT_EQ(message.sender, c.sender);
        EXPECT_EQ(message.text, c.text);
        EXPECT_EQ(message.length, c.length);
        EXPECT_STREQ(message.timestamp, c.timestamp);
    }
}

TEST(deliver, headersGiveReferencePartsAndPart)
{
    const struct {
        const char *name;
        std::string pdu;
        bool islong;
        unsigned reference[2], parts, part;
    } cases[] = {
        {"narrow", narrow, true, {0x3A, 0}, 2, 1},
        {"wide", wide, true, {0x12, 0x34}, 3, 2},
        {"type 40", with(narrow, 8, "40"), true, {0x3A, 0}, 2, 1},
        {"type 64", with(wide, 8, "64"), true, {0x12, 0x34}, 3, 2},
        {"nine parts are six", with(narrow, 31, "09"), true, {0x3A, 0}, 6, 1},
        {"sixth of six", with(narrow, 31, "0606"), true, {0x3A, 0}, 6, 6},
        {"a single part is complete", with(narrow, 31, "01"), false, {0x3A, 0}, 1, 1},
        {"so is one of none", with(narrow, 31, "00"), false, {0x3A, 0}, 0, 1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        modem_deliver message;
        ASSERT_TRUE(decode(c.pdu, message));
        EXPECT_EQ(message.islong, c.islong);
        EXPECT_EQ(message.randref[0], c.reference[0]);
        EXPECT_EQ(message.randref[1], c.reference[1]);
        EXPECT_EQ(message.countparts, c.parts);
        EXPECT_EQ(message.part, c.part);
    }
}

TEST(deliver, dropsWithTheCauseTraced)
{
    const struct {
        const char *name;
        std::string pdu;
        std::string complaint;
    } cases[] = {
        {"an octet too short", plain.substr(0, 2 * 27), "nbytes=27<28"},
        {"address beyond the end", with(plain, 9, "FF"), "nbytes=34<139"},
        {"nothing behind TP-PID", with(with(plain, 9, "1B"), 25, "00"), "nbytes=34<35"},
        {"TP-PID first of all that is missing", with(plain, 9, "1B"),
         "ibuf=25 TP-PID=0x21 != 0x00"},
        {"not even TP-PID", with(plain, 9, "2E"), "nbytes=34<35"},
        {"narrow header, wide element", with(narrow, 29, "04"), "TP-UDH[2]=0x04 != 0x03"},
        {"wide header, narrow element", with(wide, 28, "0003"), "TP-UDH[1]=0x00 != 0x08"},
        {"wide header, odd length", with(wide, 29, "03"), "TP-UDH[2]=0x03 != 0x04"},
        {"header beyond the end", narrow.substr(0, 2 * 30), "nbytes=30<33"},
        {"seventh part, wide", with(wide, 33, "07"), "TP-UDH[6](num part)=0x07 > 0x06"},
        {"161 septets", with(plain, 26, "A1"), "output_sms_text_length=161 > 160"},
        {"141 octets of ucs2", with(ucs2, 26, "8D"), "output_sms_text_length=141 > 140"},
        {"141 octets", with(with(ucs2, 18, "04"), 26, "8D"), "output_sms_text_length=141 > 140"},
        {"fewer septets than announced", with(plain, 26, "09"),
         "decoded_sms_text_size=8 != output_sms_text_length=9"},
    };
    for (const auto &c : cases) {
        modem_deliver message;
        const std::string text = tracesof([&] { EXPECT_FALSE(decode(c.pdu, message)) << c.name; });
        EXPECT_TRUE(text.ends_with("modem_readsms: ERROR " + c.complaint + "\n")) << text;
    }
}

TEST(deliver, sixDataCodingsAreSupported)
{
    for (unsigned dcs = 0; dcs < 256; dcs++) {
        char hex[3];
        modem_bintohex(dcs, hex);
        const bool supported =
            dcs == 0x00 || dcs == 0x10 || dcs == 0x04 || dcs == 0x14 || dcs == 0x08 || dcs == 0x18;
        modem_deliver message;
        EXPECT_EQ(decode(with(plain, 18, hex), message), supported) << dcs;
    }
}

TEST(deliver, tracesTheWayThroughAPart)
{
    modem_deliver message;
    EXPECT_EQ(tracesof([&] { (void)decode(narrow, message); }),
              "modem_readsms: sender_phone_number=79161234567\n"
              "modem_readsms: timestamp=16-11-2024 17:02:04, timezone=12\n"
              "modem_readsms: TP-UDH[4](count parts)=0x02\n"
              "modem_readsms: TP-UDH[5](num part)=0x01\n"
              "modem_readsms: TP-UDL=12, buffer_length=5\n"
              "modem_readsms: TP-DCS=7-bit\n");
}

}  // namespace
