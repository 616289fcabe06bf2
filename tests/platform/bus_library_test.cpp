// SPDX-License-Identifier: ISC
// Client library and command line client, against the broker.
#include <thread>

#include <libubus.h>

#include "bus_wire.h"
#include "shell.h"

namespace
{

ubus_object object{};
ubus_object_type object_type{};
blob_buf reply{};
unsigned calls;

int on_echo(ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *, blob_attr *msg)
{
    calls++;
    return ubus_send_reply(ctx, req, msg);
}

int on_fail(ubus_context *, ubus_object *, ubus_request_data *, const char *, blob_attr *)
{
    return -1;
}

int on_stop(ubus_context *, ubus_object *, ubus_request_data *, const char *, blob_attr *)
{
    uloop_end();
    return 0;
}

// Calls itself, which must wait until this is over; `msg` stays valid meanwhile.
int on_self(ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *, blob_attr *msg)
{
    const int status = ubus_invoke(ctx, object.id, "echo", nullptr, nullptr, nullptr, 50);
    return status == 7 && calls == 0 ? ubus_send_reply(ctx, req, msg) : 9;
}

int on_count(ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *, blob_attr *)
{
    blob_buf_init(&reply, 0);
    blobmsg_add_u32(&reply, "calls", calls);
    (void)ubus_send_reply(ctx, req, reply.head);
    return ubus_send_reply(ctx, req, nullptr);
}

const blobmsg_policy policy[] = {
    {.name = "client", .type = BLOBMSG_TYPE_STRING},
    {.name = "wide", .type = BLOBMSG_TYPE_INT64},
};
const ubus_method methods[] = {
    UBUS_METHOD("echo", on_echo, policy), UBUS_METHOD_NOARG("fail", on_fail),
    UBUS_METHOD_NOARG("stop", on_stop),   UBUS_METHOD_NOARG("self", on_self),
    UBUS_METHOD_NOARG("count", on_count),
};

ubus_context *connect_as(const char *name, const std::string &path)
{
    ubus_context *ctx = ubus_connect(path.c_str());
    object_type = UBUS_OBJECT_TYPE("demo", methods);
    object.name = name;
    object.type = &object_type;
    object.methods = methods;
    object.n_methods = ARRAY_SIZE(methods);
    if (ctx == nullptr || ubus_add_object(ctx, &object) != 0) _exit(1);
    ubus_add_uloop(ctx);
    return ctx;
}

struct client : bus_fixture {
    pid_t owner = fork();

    client()
    {
        if (owner == 0) {
            (void)connect_as("demo", path);
            _exit(uloop_run());
        }
        ubus_context *ctx = ubus_connect(path.c_str());
        std::uint32_t id = 7;
        EXPECT_TRUE(wait_until([&] {
            EXPECT_TRUE(id == 7) << "touched by a failed lookup";
            return ubus_lookup_id(ctx, "demo", &id) == 0;
        }));
        ubus_free(ctx);
        uloop_done();
    }
    ~client() override
    {
        (void)process_stop(owner, SIGKILL, patience);
    }
};

// Calls of its own object wait until the caller is back in its loop.
TEST_F(client, loopRunsOwnCallsAndEndsWhenTheBrokerIsLostInOne)
{
    static ubus_context *ctx;
    static constexpr auto call = [](const char *method, int timeout) {
        return ubus_invoke(ctx, object.id, method, nullptr, nullptr, nullptr, timeout);
    };
    ctx = connect_as("own", path);
    alarm(60);  // should the loop not end
    EXPECT_EQ(call("stop", 50), UBUS_STATUS_TIMEOUT);
    EXPECT_EQ(uloop_run(), 0);

    std::thread killer([this] {
        usleep(100000);
        EXPECT_EQ(process_stop(broker, SIGTERM, patience), 0);
        broker = -1;
    });
    uloop_timeout timer{};
    timer.cb = [](uloop_timeout *) { EXPECT_NE(call("fail", 0), UBUS_STATUS_OK); };
    uloop_timeout_set(&timer, 0);
    EXPECT_EQ(uloop_run(), 0);
    EXPECT_EQ(call("fail", 0), UBUS_STATUS_INVALID_ARGUMENT);
    alarm(0);
    ubus_free(ctx);
    uloop_done();
    killer.join();
}

#ifdef BUS_TOOL
TEST_F(client, callsPrintAndExitAsScriptsExpect)
{
    // clang-format off
    const struct {
        const char *arguments;
        int exit;
        const char *output;  // null: the usage
    } rows[] = {
        {"list", 0, "demo\n"},
        {"list nobody", 4, "Command failed: Not found\n"},
        {"-v list 'de*' | tail -n +2 | head -n 2", 0,
         "\t\"echo\":{\"client\":\"String\",\"wide\":\"(unknown)\"}\n\t\"fail\":{}\n"},
        {"-S call demo self '{\"a\":0}'", 0, "{\"a\":0}\n"},
        {"-S call demo count", 0, "{\"calls\":1}\n{}\n"},
        {"call demo echo '{\"a\":[1,-2147483649,1.5,true,null,{}],\"b\":\"\\u0001\\\"/\\f\351\"} x'", 0,
         "{\n\t\"a\": [\n\t\t1,\n\t\t-2147483649,\n\t\t1.500000,\n\t\ttrue,\n\t\tnull,\n"
         "\t\t{\n\t\t\t\n\t\t}\n\t],\n\t\"b\": \"\\u0001\\\"/\\u000c\351\"\n}\n"},
        {"call demo nosuch", 253, "Command failed: ubus call demo nosuch (Method not found)\n"},
        {"call demo nosuch -S", 3, ""},
        {"call demo echo '{bad'", 244,
         "Command failed: ubus call demo echo {bad (Parsing message data failed)\n"},
        {"-S call demo echo '[1]'", 12, ""},
        {"call demo fail", 1,
         "Command failed: ubus call demo fail (Unknown error: -1)\nCommand failed: Invalid command\n"},
        {"-S call demo", 254, nullptr},
        {"bogus", 254, nullptr},
        {"", 1, nullptr},
        {"wait_for demo", 0, ""},
        {"-t 0 wait_for demo nobody", 7, "Command failed: Request timed out\n"},
        {"-s /nowhere list", 255, "Failed to connect to ubus\n"},
    };
    // clang-format on
    const std::string command = "'" BUS_PROGRAMS "/ubus' -s " + path + " ";
    for (const auto &row : rows) {
        const auto [output, status] = shell(command + row.arguments);
        EXPECT_EQ(status, row.exit) << row.arguments;
        if (row.output != nullptr)
            EXPECT_EQ(output, row.output) << row.arguments;
        else
            EXPECT_TRUE(output.starts_with("Usage: ")) << row.arguments;
    }
}
#endif

}  // namespace
