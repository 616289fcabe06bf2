// SPDX-License-Identifier: ISC
// What subscribers of the daemon's object are told.
#include <map>

#include <gtest/gtest.h>
#include <libubus.h>

#include "tests/router/running.h"

namespace
{

using fields = std::vector<std::pair<std::string, std::string>>;

// Knows the status by notifications alone, once the first one, or a `get`, has told all.
struct listener : ubus_subscriber {
    listener() : ubus_subscriber{}, context(ubus_connect(nullptr))
    {
        uloop_done();
        cb = [](ubus_context *, ubus_object *object, ubus_request_data *, const char *type,
                blob_attr *data) {
            of(container_of(object, ubus_subscriber, obj)).keep(type, bus_read(data).fields);
            return 0;
        };
        remove_cb = [](ubus_context *, ubus_subscriber *subscriber, std::uint32_t) {
            of(subscriber).isdropped = true;
        };
        EXPECT_EQ(ubus_register_subscriber(context, this), 0);
    }
    ~listener()
    {
        ubus_free(context);
    }

    void subscribe()
    {
        EXPECT_EQ(ubus_lookup_id(context, "kelvantorium", &daemon), 0);
        EXPECT_EQ(ubus_subscribe(context, this, daemon), 0);
    }
    void unsubscribe()
    {
        EXPECT_EQ(ubus_unsubscribe(context, this, daemon), 0);
    }
    void listen()
    {
        ubus_handle_event(context);
    }
    // Asked on the connection of the notifications: they come in the order of the broker.
    fields get()
    {
        bus_reply reply;
        const auto take = [](ubus_request *request, int, blob_attr *data) {
            *static_cast<bus_reply *>(request->priv) = bus_read(data);
        };
        EXPECT_EQ(ubus_invoke(context, daemon, "get", nullptr, take, &reply, 60000), 0);
        EXPECT_EQ(reply["result"], "ok");
        if (!reply.fields.empty()) reply.fields.erase(reply.fields.begin());
        return reply.fields;
    }
    // Waits until notifications have told all that `get` says.
    bool knows(const std::string &path, const std::string &value)
    {
        return wait_until([&] {
            listen();
            const fields report = get();
            return known[path] == value && known == decltype(known)(report.begin(), report.end());
        });
    }

    // Counts from now on what publishers notify, heard or not.
    void watch()
    {
        context->monitor_cb = [](ubus_context *, std::uint32_t, blob_attr *data) {
            blob_attr *word = nullptr;
            std::size_t rest = 0;
            blob_for_each_attr(word, data, rest)
            {
                if (blob_id(word) != UBUS_MONITOR_TYPE) continue;
                notified += blob_get_u32(word) == UBUS_MSG_NOTIFY ? 1 : 0;
            }
        };
        EXPECT_EQ(ubus_monitor_start(context), 0);
    }

    static listener &of(ubus_subscriber *subscriber)
    {
        return *static_cast<listener *>(subscriber);
    }
    void keep(const std::string &type, const fields &told)
    {
        if (type == "status") {
            statuses.push_back(told);
            for (const auto &[path, value] : told) {
                const auto [at, isnew] = known.try_emplace(path, value);
                EXPECT_TRUE(isnew || at->second != value) << path << " has not changed: " << value;
                at->second = value;
            }
            return;
        }
        EXPECT_EQ(type, "sms");
        ASSERT_EQ(told.size(), 1U) << "neither text nor number";
        EXPECT_EQ(told[0].first, "id");
        EXPECT_EQ(known["info.sms.recv_counter"].empty(), false) << "its status came before";
        ids.push_back(told[0].second);
    }

    static inline int notified = 0;
    std::vector<fields> statuses;
    std::vector<std::string> ids;  // of messages
    std::map<std::string, std::string> known;
    bool isdropped = false;
    ubus_context *context;
    std::uint32_t daemon = 0;
};

void send(virtual_router &router, const std::string &text)
{
    EXPECT_TRUE(router.modem("sms", {{"sender", "79161234567"}, {"text", text}}).ok());
}

TEST(notifications, changesMakeOfTheFirstReportWhatGetSays)
{
    running_router router;
    listener reader;
    reader.subscribe();
    EXPECT_TRUE(wait_until([&] { return reader.listen(), !reader.statuses.empty(); }));
    EXPECT_EQ(reader.statuses.at(0), reader.get()) << "all of it, in its order";
    (void)router.steadypass();
    reader.listen();
    EXPECT_EQ(reader.statuses.size(), 1U) << "nothing has changed";

    arrange(router, {{"signal", {{"rssi", "30"}}}});
    EXPECT_TRUE(reader.knows("info.network.rssi", "-80.00"));
    arrange(router, {{"radio", {{"registered", false}}}});
    EXPECT_TRUE(reader.knows("info.network.state", "disconnected"));
    arrange(router, {{"radio", {{"registered", true}}}, {"signal"}});
    EXPECT_TRUE(reader.knows("info.network.level", "good"));
    arrange(router, {{"sim", {{"slot", 1}, {"inserted", false}}}});
    EXPECT_TRUE(reader.knows(errorpath, "sim_removed"));

    // One notification for a method, on the wire before the end of the call.
    const router_mark since = router.mark();
    arrange(router, {held("AT+CGMM")});
    reader.statuses.clear();
    EXPECT_EQ(ask(router, "set", {{"modem_slot", "2"}}), "ok");
    reader.listen();
    ASSERT_EQ(reader.statuses.size(), 1U);
    EXPECT_EQ(reader.statuses[0].at(0),
              (fields::value_type{"info.kelvantorium.prevstate", "error"}));
    EXPECT_EQ(reader.known[statepath], "init");
    EXPECT_TRUE(router.receives("AT+CGMM", since));
    arrange(router, {saying("\r\nM\r\n\r\nOK\r\n")});
    EXPECT_TRUE(reader.knows("settings.modem.slot", "2"));
    EXPECT_TRUE(reader.knows("info.network.level", "good"));
    EXPECT_TRUE(reader.ids.empty());
}

TEST(notifications, everyStoredMessageIsToldOnceAndInOrder)
{
    running_router router;
    router.modem("storage", {{"capacity", 40}});
    listener reader;
    reader.subscribe();
    std::vector<std::string> expected;
    for (int number = 0; number < 34; number++) {
        send(router, "message");
        expected.push_back(std::to_string(number % 32 + 1));
    }
    EXPECT_TRUE(wait_until([&] { return reader.listen(), reader.ids.size() >= 34; }));
    EXPECT_EQ(reader.ids, expected);
    EXPECT_TRUE(reader.knows("info.sms.recv_counter", "2"));
    EXPECT_EQ(ask(router, "sms_clear"), "ok");
    EXPECT_TRUE(reader.knows("info.sms.recv_counter", "0"));

    // `sms_get` refuses a message of a pass that has failed, until the counter is published.
    arrange(router, {fault("AT+CMGD", "silence", 1)});
    send(router, "of a failed pass");
    EXPECT_TRUE(reader.knows(statepath, "error"));
    EXPECT_EQ(reader.ids, expected);
    EXPECT_EQ(ask(router, "reinit"), "ok");
    EXPECT_TRUE(reader.knows("info.sms.recv_counter", "1"));
    expected.emplace_back("1");
    EXPECT_TRUE(wait_until([&] { return reader.listen(), reader.ids == expected; }));
}

TEST(notifications, furtherSubscribersCallGetAndDelayNobody)
{
    running_router router;
    listener first, second;
    first.subscribe();
    EXPECT_TRUE(first.knows(statepath, "op"));
    second.subscribe();
    const fields report = second.get();
    second.known = {report.begin(), report.end()};
    EXPECT_TRUE(second.statuses.empty());
    for (int number = 0; number < 200; number++) {  // it is not read meanwhile
        const int rssi = 80 + number % 2;
        arrange(router, {{"signal", {{"rssi", std::to_string(110 - rssi)}}}});
        ASSERT_TRUE(first.knows("info.network.rssi", "-" + std::to_string(rssi) + ".00"));
    }
    EXPECT_TRUE(second.knows("info.network.rssi", "-81.00"));
    EXPECT_EQ(second.statuses.size(), 200U);

    first.unsubscribe();
    second.unsubscribe();
    (void)router.steadypass();
    second.watch();
    send(router, "to nobody");
    EXPECT_TRUE(router.becomes("info.sms.recv_counter", "1"));
    (void)router.steadypass();
    second.listen();
    EXPECT_EQ(listener::notified, 0) << "to nobody, or of what has no subscribers";
    first.statuses.clear();
    second.statuses.clear();
    first.known.clear();
    first.subscribe();
    EXPECT_TRUE(first.knows("info.sms.recv_counter", "1"));
    EXPECT_EQ(first.statuses.size(), 1U);
    second.listen();
    EXPECT_EQ(listener::notified, 2) << "of the first subscriber, and to it";
    EXPECT_TRUE(second.statuses.empty());
    EXPECT_TRUE(first.ids.empty());

    router.killdaemon();
    EXPECT_TRUE(wait_until([&] { return first.listen(), first.isdropped; }));
    ASSERT_TRUE(router.startdaemon());
    first.known.clear();
    first.subscribe();
    EXPECT_TRUE(first.knows(statepath, "op"));
}

}  // namespace
