// SPDX-License-Identifier: ISC
// Attribute buffers: octets on the wire, and what is made of unsound input.
#include <vector>

#include <gtest/gtest.h>
#include <libubus.h>

#include "tests/platform/octets.h"

namespace
{

TEST(blob, additionsHaveTheOctetsOfTheWire)
{
    blob_buf buf{};
    blob_buf_init(&buf, 0);
    blobmsg_add_string(&buf, "result", "ok");
    void *table = blobmsg_open_table(&buf, "t");
    blobmsg_add_string(&buf, "x", "y");
    blobmsg_close_table(&buf, table);
    void *array = blobmsg_open_array(&buf, "r");
    blobmsg_add_u8(&buf, nullptr, 1);
    blobmsg_close_array(&buf, array);
    blobmsg_add_double(&buf, "d", 1.5);
    blobmsg_add_field(&buf, BLOBMSG_TYPE_UNSPEC, "z", nullptr, 0);
    blobmsg_add_u64(&buf, "q", 0x0102030405060708);
    blob_put_string(&buf, 2, "demo");
    const std::string large(0x1000000 - blob_raw_len(buf.head), 'x');
    EXPECT_EQ(blobmsg_add_string(&buf, "large", large.c_str()), -1);
    EXPECT_EQ(std::string(static_cast<char *>(blob_data(buf.head)), blob_len(buf.head)),
              octets("83000013 0006 726573756c74 00 000000 6f6b00 00"
                     "82000014 0001 74 00 8300000a 0001 78 00 7900 0000"
                     "81000014 0001 72 00 87000009 0000 0000 01 000000"
                     "88000010 0001 64 00 3ff8000000000000"
                     "80000008 0001 7a 00"
                     "84000010 0001 71 00 0102030405060708"
                     "02000009 64656d6f00 000000"));
    blob_buf_free(&buf);
}

TEST(blob, parseKeepsWhatCameBeforeAnUnsoundAttribute)
{
    static const blobmsg_policy policy[] = {
        {.name = "a", .type = BLOBMSG_TYPE_STRING},
        {.name = "n", .type = BLOBMSG_CAST_INT64},
        {.name = "z", .type = BLOBMSG_TYPE_UNSPEC},
        {.name = nullptr, .type = BLOBMSG_TYPE_STRING},
    };
    const std::string a = "8300000a 0001 61 00 3100 0000 ";  // "a": "1"
    const std::string n = "8500000c 0001 6e 00 00000005 ";   // "n": 5
    const struct {
        const char *name;
        std::string hex;
        int result;
        const char *slots;  // names of the filled ones
    } rows[] = {
        {"all", a + n + "80000008 0001 7a 00", 0, "anz"},
        {"nothing", "", -EINVAL, ""},
        {"first wins", a + "8300000b 0001 61 00 323200 00", 0, "a"},
        {"other case", "8300000a 0001 41 00 3100 0000", 0, ""},
        {"wrong type, then right", "87000009 0001 61 00 01 000000" + a, 0, "a"},
        {"int16 is an integer", "8600000a 0001 6e 00 0102 0000", 0, "n"},
        {"string without NUL", n + "83000009 0001 61 00 31 000000" + a, -1, "n"},
        {"empty string data", n + "83000008 0001 61 00" + a, -1, "n"},
        {"int32 of two octets", a + "8500000a 0001 6e 00 0005 0000", -1, "a"},
        {"type 9", a + "89000009 0001 6e 00 05 000000" + n, -1, "a"},
        {"name without NUL", a + "8500000c 0001 6e 6e 00000005", -1, "a"},
        {"name beyond the attribute", a + "8500000c ffff 6e 00 00000005", -1, "a"},
        {"length below four", a + "85000003" + n, -1, "a"},
        {"last one cut off", a + "8500000c 0001 6e 00", 0, "a"},
        {"plain string without NUL", "03000005 31 000000" + a, -1, ""},
        {"plain attribute is skipped", "03000005 00 000000" + a, 0, "a"},
    };
    for (const auto &row : rows) {
        // Of the very size, so that a sanitizer sees the first octet read beyond.
        const std::string text = octets(row.hex);
        std::vector<char> bytes(text.begin(), text.end());
        blob_attr *tb[4];
        EXPECT_EQ(blobmsg_parse(policy, 4, tb, bytes.data(), unsigned(bytes.size())), row.result)
            << row.name;
        std::string slots;
        for (int i = 0; i < 4; i++)
            slots += tb[i] != nullptr ? policy[i].name : "";
        EXPECT_EQ(slots, row.slots) << row.name;
        EXPECT_STREQ(blobmsg_get_string(tb[0]), tb[0] != nullptr ? "1" : nullptr) << row.name;
    }
}

}  // namespace
