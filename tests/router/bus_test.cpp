// SPDX-License-Identifier: ISC
// The daemon's object on the bus: its report from the first moment, and messages that no decent
// client sends.
#include <arpa/inet.h>

#include <gtest/gtest.h>
#include <libubus.h>

#include "tests/router/running.h"

namespace
{

constexpr char startconfig[] =
    "config modem modem\n option slot 2\nconfig gnss gnss\n option power on\n"
    "config network network\n option apn internet\n";

TEST(bus, reportIsThereFromTheStartAndNeedsNoHeap)
{
    virtual_router router({.config = startconfig, .daemon = "kelvantorium-fast", .start = false});
    arrange(router, {held("ATV1"), {"radio", {{"delay", 0}}}});
    ASSERT_TRUE(router.startdaemon());
    ASSERT_TRUE(router.receives("ATV1"));
    const router_mark since = router.mark();
    const std::pair<const char *, const char *> words[] = {
        {"settings.modem.slot", "2"},
        {"settings.modem.rs485.pull", "down"},
        {"settings.modem.gnss.power", "on"},
        {"settings.modem.network.apn", "internet"},
        {statepath, "init"},
        {"info.kelvantorium.reason", "none"},
        {"info.network.rssi", "-110.00"},
        {"info.ussd.state", "stopped"},
    };
    const bus_reply report = router.call("get");
    for (const auto &[path, word] : words)
        EXPECT_EQ(report[path], word) << path;

    arrange(router, {saying("\r\nOK\r\n")});
    EXPECT_TRUE(router.becomes("info.network.level", "good"));
    EXPECT_EQ(ask(router, "at_send", {{"cmd", "AT+CADC=2"}}), "ok");
    std::vector<std::string> grown = router.out(since);
    std::erase_if(grown, [](const auto &line) { return !line.starts_with("realloc: "); });
    EXPECT_LE(grown.size(), 1U) << "only the library's message, which takes in a whole reply";
}

// A text without its end, a field beyond the end, half a head; nothing before them counts.
TEST(bus, damagedMessagesChangeNothing)
{
    running_router router;
    ubus_context *context = ubus_connect(nullptr);
    std::uint32_t id = 0;
    ASSERT_EQ(ubus_lookup_id(context, "kelvantorium", &id), 0);
    const auto take = [](ubus_request *request, int, blob_attr *reply) {
        *static_cast<std::string *>(request->priv) =
            blobmsg_get_string(static_cast<blob_attr *>(blob_data(reply)));
    };
    for (const int damage : {0, 1, 2}) {
        blob_buf message = {};
        blob_buf_init(&message, 0);
        blobmsg_add_string(&message, "client", "test");
        blobmsg_add_string(&message, "modem_slot", "2");
        blobmsg_add_field(&message, BLOBMSG_TYPE_STRING, "more", "12345678", damage == 0 ? 8 : 9);
        if (damage > 0)
            message.head->id_len =
                htonl(static_cast<unsigned>(blob_raw_len(message.head) - (damage == 1 ? 4 : 22)));
        std::string result;
        EXPECT_EQ(ubus_invoke(context, id, "set", message.head, take, &result, 60000), 0);
        EXPECT_EQ(result, "error: msg is damaged") << damage;
        blob_buf_free(&message);
    }
    ubus_free(context);
    EXPECT_EQ(read_file(router_configpath), router_defaultconfig);
    EXPECT_EQ(router.status(statepath), "op");
}

}  // namespace
