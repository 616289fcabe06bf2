// The daemon's object on the bus: what it offers and shows, and messages that no decent client
// sends.
#include <arpa/inet.h>
#include <chrono>
#include <random>
#include <span>
#include <sstream>

#include <gtest/gtest.h>
#include <libubus.h>

#include "tests/router/running.h"

using namespace std::chrono_literals;

namespace
{

struct offered_method {
    std::string name;
    std::vector<std::string> arguments;
};

const std::vector<offered_method> offered = {
    {"get", {}},
    {"sms_get", {"id"}},
    {"sms_clear", {"client"}},
    {"at_send", {"client", "cmd"}},
    {"ussd_send", {"client", "cmd"}},
    {"sms_send", {"client", "number", "text"}},
    {"set",
     {"client", "modem_slot", "modem_rs485_pull", "modem_gnss_power", "modem_gnss_mode",
      "modem_network_type", "modem_network_iptype", "modem_network_iparea", "modem_network_apn"}},
    {"reinit", {"client"}},
};

// Calls with any payload.
class raw_client
{
public:
    raw_client() : context(ubus_connect(nullptr))
    {
        (void)ubus_lookup(context, "kelvantorium", keep, this);
    }
    ~raw_client()
    {
        blob_buf_free(&message);
        ubus_free(context);
    }
    raw_client(const raw_client &) = delete;
    raw_client &operator=(const raw_client &) = delete;

    // The first field of the reply, "result: ..."; or the status of a call without a reply.
    std::string call(const std::string &method, blob_attr *payload)
    {
        std::string first;
        const auto take = [](ubus_request *request, int, blob_attr *reply) {
            blob_attr *field = static_cast<blob_attr *>(blob_data(reply));
            if (blob_len(reply) == 0 || !blobmsg_check_attr(field, true)) return;
            *static_cast<std::string *>(request->priv) =
                std::string(blobmsg_name(field)) + ": " + blobmsg_get_string(field);
        };
        const int status = ubus_invoke(context, id, method.c_str(), payload, take, &first, 60000);
        return status == 0 ? first : "status " + std::to_string(status);
    }

    blob_buf *begin()
    {
        blob_buf_init(&message, 0);
        return &message;
    }

    std::vector<offered_method> methods;

private:
    static void keep(ubus_context *, ubus_object_data *object, void *self)
    {
        raw_client &client = *static_cast<raw_client *>(self);
        client.id = object->id;
        blob_attr *method = nullptr;
        std::size_t rest = 0;
        blob_for_each_attr(method, object->signature, rest)
        {
            client.methods.push_back({blobmsg_name(method), {}});
            blob_attr *argument = nullptr;
            std::size_t left = 0;
            blobmsg_for_each_attr(argument, method, left)
            {
                EXPECT_EQ(blobmsg_get_u32(argument), static_cast<unsigned>(BLOBMSG_TYPE_STRING));
                client.methods.back().arguments.emplace_back(blobmsg_name(argument));
            }
        }
    }

    ubus_context *context;
    std::uint32_t id = 0;
    blob_buf message = {};
};

bool operator==(const offered_method &a, const offered_method &b)
{
    return a.name == b.name && a.arguments == b.arguments;
}

TEST(bus, methodsAndArgumentsAreOfferedInOrder)
{
    virtual_router router;
    EXPECT_EQ(raw_client().methods, offered);
}

const std::string slottwoconfig =
    "config modem 'modem'\n\toption slot '2'\n"
    "config rs485 'rs485'\n\toption pull 'up'\n"
    "config gnss 'gnss'\n\toption power 'on'\n\toption mode '1'\n"
    "config network 'network'\n\toption type '4g'\n\toption iptype 'ipv4v6'\n"
    "\toption iparea 'private'\n\toption apn 'internet'\n";

// The report during the first initialisation, in its order, table by table.
const struct {
    const char *table;
    const char *leaves;
} startreport[] = {
    {"", "result=ok"},
    {"settings.modem.", "slot=2,rs485.pull=up,gnss.power=on,gnss.mode=1"},
    {"settings.modem.network.", "type=4g,iptype=ipv4v6,iparea=private,apn=internet"},
    {"info.kelvantorium.",
     "version=1.1,prevstate=init,state=init,error=none,reason=none,"
     "reinit_counter=0"},
    {"info.modem.", "model=none,firmware=none,imei=none,slot1_state=empty,slot2_state=empty"},
    {"info.gnss.",
     "state=unavailable,fixation=2d,latitude=0,ns=north,longitude=0,ew=east,"
     "altitude=0,pdop=0,hdop=0,vdop=0,validsvs=0,cntsvs=0,"
     "datetime=01-01-2000 00:00:00"},
    {"info.sim.", "imsi=none,iccid=none"},
    {"info.network.",
     "state=disconnected,provider=none,type=none,level=no signal,rssi=-110.00,"
     "rsrp=-100.00,rsrq=-20.00,sinr=0.00,rscp=-124.00,ecio=-20.00,ip=none,"
     "gateway=none,rx_counter=0,tx_counter=0"},
    {"info.ussd.", "state=stopped,cmd=none,answer=none"},
    {"info.sms.", "recv_counter=0,recv_max=32,recv_file=/root/listsms.kelvantorium"},
};

decltype(bus_reply::fields) expectedreport()
{
    decltype(bus_reply::fields) fields;
    for (const auto &[table, leaves] : startreport) {
        std::istringstream stream(leaves);
        for (std::string path, value;
             std::getline(stream, path, '=') && std::getline(stream, value, ',');)
            fields.emplace_back(table + path, value);
    }
    return fields;
}

// What the worker has found out by the end of a first initialisation.
const char *const initialised[][2] = {
    {"info.kelvantorium.prevstate", "init"},      {"info.kelvantorium.state", "op"},
    {"info.kelvantorium.reason", "init done ok"}, {"info.kelvantorium.reinit_counter", "0"},
    {"info.modem.model", "LTE-MODEM-1"},          {"info.modem.firmware", "LM1.04.02B01"},
    {"info.modem.imei", "861000000000013"},       {"info.modem.slot1_state", "inserted"},
    {"info.modem.slot2_state", "inserted"},       {"info.sim.imsi", "250990000000002"},
    {"info.sim.iccid", "8970199000000000025"},
};

TEST(bus, reportIsCompleteAndPromptFromTheStart)
{
    router_setup setup;
    setup.config = slottwoconfig;
    setup.daemon = "kelvantorium-fast";
    setup.start = false;
    virtual_router router(setup);
    // The modem keeps its answer to itself until it is told to give it.
    router.modem("fault", {{"command", "ATV1"}, {"kind", "silence"}, {"times", 1}});
    ASSERT_TRUE(router.startdaemon());
    ASSERT_TRUE(router.receives("ATV1"));
    bus_reply report = router.call("get");
    EXPECT_EQ(report.fields, expectedreport());

    router.modem("unsolicited", {{"text", "\r\nOK\r\n"}});
    EXPECT_TRUE(wait_until([&] {
        const auto asked = std::chrono::steady_clock::now();
        report = router.call("get");
        EXPECT_LT(std::chrono::steady_clock::now() - asked, 5s);
        return report["info.kelvantorium.state"] != "init";
    }));
    for (const auto &[path, value] : initialised)
        EXPECT_EQ(report[path], value) << path;
}

// Arguments that are not texts count as missing.
const struct {
    const char *name;
    void (*add)(blob_buf *message, const char *argument);
} mistypes[] = {
    {"nothing", [](blob_buf *, const char *) {}},
    {"number", [](blob_buf *message, const char *name) { blobmsg_add_u32(message, name, 1); }},
    {"truth", [](blob_buf *message, const char *name) { blobmsg_add_u8(message, name, 1); }},
    {"table",
     [](blob_buf *message, const char *name) {
         blobmsg_close_table(message, blobmsg_open_table(message, name));
     }},
    {"text without its end",
     [](blob_buf *message, const char *name) {
         blobmsg_add_field(message, BLOBMSG_TYPE_STRING, name, "open end", 8);
     }},
    {"text without an octet",
     [](blob_buf *message, const char *name) {
         blobmsg_add_field(message, BLOBMSG_TYPE_STRING, name, "", 0);
     }},
};

TEST(bus, mistypedArgumentsAreMissingArguments)
{
    running_router router;
    raw_client client;
    for (const offered_method &method : offered) {
        const std::string expected =
            method.arguments.empty() ? "ok" : "error: msg has no " + method.arguments.front();
        for (const auto &row : mistypes) {
            blob_buf *message = client.begin();
            for (const std::string &argument : method.arguments)
                row.add(message, argument.c_str());
            EXPECT_EQ(client.call(method.name, message->head), "result: " + expected)
                << method.name << ": " << row.name;
        }
    }
    EXPECT_EQ(client.call("nonsense", client.begin()->head), "status 3");
    EXPECT_EQ(router.status("info.kelvantorium.state"), "op");
}

TEST(bus, hugeArgumentsAreCut)
{
    running_router router;
    const std::string huge = "AT" + std::string(100000, 'x');
    struct {
        const char *method;
        const char *result;
    } const rows[] = {
        {"get", "ok"},     {"sms_get", "error: id unsupported value: ATx"},   {"sms_clear", "ok"},
        {"at_send", "ok"}, {"set", "error: modem_slot unsupported value: A"}, {"reinit", "ok"},
    };
    for (const auto &row : rows) {
        bus_arguments arguments;
        for (const offered_method &method : offered) {
            if (method.name != row.method) continue;
            for (const std::string &argument : method.arguments)
                arguments.emplace_back(argument, huge);
        }
        EXPECT_EQ(router.call(row.method, arguments)["result"], row.result) << row.method;
    }
    EXPECT_TRUE(router.receives(huge.substr(0, 80)));
    EXPECT_TRUE(router.logs("info op->init: ATxxxxxxxxxxxxx_client call reinit: done ok"));
    EXPECT_TRUE(router.becomes("info.kelvantorium.state", "op"));
}

// Damages a message that every method would refuse, so that hardly any damage makes it do harm.
TEST(bus, damagedMessagesAreAnswered)
{
    running_setup setup;
    setup.interval = "1000";
    running_router router(setup);
    raw_client client;
    std::minstd_rand random(20261122);
    const auto below = [&](std::size_t limit) { return random() % limit; };
    for (const offered_method &method : offered) {
        for (int round = 0; round < 100; round++) {
            blob_buf *message = client.begin();
            for (const std::string &argument : method.arguments)
                blobmsg_add_string(message, argument.c_str(), argument == "modem_slot" ? "9" : "");
            const std::span payload(static_cast<unsigned char *>(blob_data(message->head)),
                                    blob_len(message->head));
            for (std::size_t wounds = 1 + below(4); wounds > 0 && !payload.empty(); wounds--)
                payload[below(payload.size())] = static_cast<unsigned char>(below(256));
            if (below(4) == 0 && !payload.empty())
                message->head->id_len =
                    htonl(static_cast<unsigned>(sizeof(blob_attr) + below(payload.size())));
            EXPECT_TRUE(client.call(method.name, message->head).starts_with("result: "))
                << method.name << " round " << round;
        }
    }
    EXPECT_TRUE(router.becomes("info.kelvantorium.state", "op"));
}

}  // namespace
