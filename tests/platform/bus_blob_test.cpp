// Attribute buffers: octets on the wire, parsing, and what unsound input may not do.
#include <cstring>
#include <random>
#include <sys/mman.h>

#include <libubus.h>

#include "bus_wire.h"

namespace
{

struct blob : testing::Test {
    static constexpr std::size_t room = 65536;
    static constexpr std::size_t guard = 1 << 17;  // farther than a name length reaches
    blob_buf buf{};
    // Input ends at an unreadable page: a look beyond the end kills the test.
    char *pages = static_cast<char *>(
        mmap(nullptr, room + guard, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));

    void SetUp() override
    {
        ASSERT_EQ(mprotect(pages + room, guard, PROT_NONE), 0);
        ASSERT_EQ(blob_buf_init(&buf, 0), 0);
    }
    void TearDown() override
    {
        blob_buf_free(&buf);
        munmap(pages, room + guard);
    }
    std::string content() const
    {
        return hexof({static_cast<char *>(blob_data(buf.head)), blob_len(buf.head)});
    }
    // Attributes start at multiples of four, so up to three octets of slack remain.
    blob_attr *put(const std::string &bytes)
    {
        char *start = pages + room - (bytes.size() + 3) / 4 * 4;
        std::memcpy(start, bytes.data(), bytes.size());
        return reinterpret_cast<blob_attr *>(start);
    }
};

TEST_F(blob, additionsHaveTheOctetsOfTheWire)
{
    blobmsg_add_string(&buf, "result", "ok");
    void *table = blobmsg_open_table(&buf, "t");
    blobmsg_add_string(&buf, "x", "y");
    blobmsg_close_table(&buf, table);
    void *array = blobmsg_open_array(&buf, "r");
    blobmsg_add_u8(&buf, nullptr, 1);
    blobmsg_close_array(&buf, array);
    blobmsg_add_double(&buf, "d", 1.5);
    blobmsg_add_field(&buf, BLOBMSG_TYPE_UNSPEC, "z", nullptr, 0);
    blobmsg_add_u16(&buf, "h", 0x0102);
    blobmsg_add_u64(&buf, "q", 0x0102030405060708);
    blob_put_string(&buf, 2, "demo");
    EXPECT_EQ(content(), squeezed("83000013 0006 726573756c74 00 000000 6f6b00 00"
                                  "82000014 0001 74 00 8300000a 0001 78 00 7900 0000"
                                  "81000014 0001 72 00 87000009 0000 0000 01 000000"
                                  "88000010 0001 64 00 3ff8000000000000"
                                  "80000008 0001 7a 00"
                                  "8600000a 0001 68 00 0102 0000"
                                  "84000010 0001 71 00 0102030405060708"
                                  "02000009 64656d6f00 000000"));
}

TEST_F(blob, openContainersSurviveGrowthAndRefusalsLeaveThemAsTheyWere)
{
    const std::string large(0x7fffff, 'x');
    void *outer = blobmsg_open_table(&buf, "outer");
    for (int i = 0; i < 1000; i++) {
        void *inner = blobmsg_open_array(&buf, "inner");
        ASSERT_EQ(blobmsg_add_string(&buf, nullptr, "text"), 0);
        blobmsg_close_array(&buf, inner);
    }
    ASSERT_EQ(blobmsg_add_string(&buf, "large", large.c_str()), 0);
    const std::size_t before = blob_raw_len(buf.head);
    EXPECT_EQ(blobmsg_add_string(&buf, "large", large.c_str()), -1);
    EXPECT_EQ(blobmsg_add_field(&buf, BLOBMSG_TYPE_UNSPEC, "z", large.data(), 0xfffffffe), -1);
    EXPECT_EQ(blob_raw_len(buf.head), before);
    blobmsg_close_table(&buf, outer);

    blob_attr *pos;
    std::size_t rem;
    int children = 0;
    blobmsg_for_each_attr(pos, static_cast<blob_attr *>(blob_data(buf.head)), rem) children +=
        blobmsg_check_attr(pos, true);
    EXPECT_EQ(children, 1001);
    EXPECT_EQ(rem, 0U);
}

TEST_F(blob, parseKeepsWhatCameBeforeAnUnsoundAttribute)
{
    static const blobmsg_policy policy[] = {
        {.name = "a", .type = BLOBMSG_TYPE_STRING},
        {.name = "n", .type = BLOBMSG_CAST_INT64},
        {.name = "z", .type = BLOBMSG_TYPE_UNSPEC},
        {.name = nullptr, .type = BLOBMSG_TYPE_STRING},
    };
    const std::string a = "8300000a 0001 61 00 3100 0000 ";  // "a": "1"
    const std::string n = "8500000c 0001 6e 00 00000005 ";   // "n": 5
    // clang-format off
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
    // clang-format on
    for (const auto &row : rows) {
        const std::string bytes = octets(row.hex);
        blob_attr *tb[4];
        EXPECT_EQ(blobmsg_parse(policy, 4, tb, put(bytes), unsigned(bytes.size())), row.result)
            << row.name;
        std::string slots;
        for (int i = 0; i < 4; i++)
            slots += tb[i] != nullptr ? policy[i].name : "";
        EXPECT_EQ(slots, row.slots) << row.name;
        EXPECT_STREQ(blobmsg_get_string(tb[0]), tb[0] != nullptr ? "1" : nullptr) << row.name;
    }
}

// Reads everything that can be read, as a careful receiver does.
std::size_t read_all(blob_attr *container, int depth)
{
    blob_attr *pos;
    std::size_t rem;
    std::size_t sum = 0;
    blobmsg_for_each_attr(pos, container, rem)
    {
        if (!blobmsg_check_attr_len(pos, false, rem)) continue;
        sum += std::strlen(blobmsg_name(pos));
        const int type = blobmsg_type(pos);
        if (type == BLOBMSG_TYPE_STRING)
            sum += std::strlen(blobmsg_get_string(pos));
        else if (type == BLOBMSG_TYPE_DOUBLE)
            sum += blobmsg_get_double(pos) > 0;
        else if (type == BLOBMSG_TYPE_INT32)
            sum += blobmsg_get_u32(pos);
        else if ((type == BLOBMSG_TYPE_TABLE || type == BLOBMSG_TYPE_ARRAY) && depth < 8)
            sum += read_all(pos, depth + 1);
    }
    return sum;
}

TEST_F(blob, noMutationOfAMessageIsReadBeyondItsEnd)
{
    blob_put_u32(&buf, UBUS_ATTR_OBJID, 7);
    void *data = blob_nest_start(&buf, UBUS_ATTR_DATA);
    blobmsg_add_string(&buf, "client", "web");
    void *table = blobmsg_open_table(&buf, "t");
    blobmsg_add_double(&buf, "d", 1.5);
    blobmsg_add_u32(&buf, "n", 3);
    blobmsg_close_table(&buf, table);
    blob_nest_end(&buf, data);
    const std::string sound(reinterpret_cast<char *>(buf.head), blob_raw_len(buf.head));
    ASSERT_EQ(read_all(put(sound.substr(12)), 0), std::strlen("client"
                                                              "web"
                                                              "t"
                                                              "d"
                                                              "n") +
                                                      4);

    std::minstd_rand random(1);
    std::size_t parsed = 0;
    for (int round = 0; round < 100000; round++) {
        std::string bytes = sound;
        for (unsigned flips = random() % 4 + 1; flips > 0; flips--)
            bytes[random() % bytes.size()] = static_cast<char>(random());
        if (round % 4 == 0) bytes.resize(4 + random() % (bytes.size() - 4));
        blob_attr *attrs[UBUS_ATTR_MAX];
        blob_parse_untrusted(put(bytes), bytes.size(), attrs, nullptr, UBUS_ATTR_MAX);
        if (attrs[UBUS_ATTR_DATA] != nullptr) parsed += read_all(attrs[UBUS_ATTR_DATA], 0) > 0;
    }
    EXPECT_GT(parsed, 1000U);  // most rounds get past the first checks
}

}  // namespace
