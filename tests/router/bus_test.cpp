// SPDX-License-Identifier: ISC
// The daemon's object on the bus: what it offers and shows, and messages that no decent client
// sends.
#include <arpa/inet.h>
#include <chrono>
#include <map>
#include <random>
#include <span>

#include <gtest/gtest.h>
#include <libubus.h>

#include "tests/router/running.h"

using namespace std::chrono_literals;

namespace
{

struct offered_method {
    std::string name;
    std::vector<std::string> arguments;

    bool operator==(const offered_method &) const = default;
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

TEST(bus, methodsAndArgumentsAreOfferedInOrder)
{
    virtual_router router;
    EXPECT_EQ(raw_client().methods, offered);
}

constexpr char startconfig[] =
    "config modem modem\n option slot 2\nconfig gnss gnss\n option power on\n"
    "config network network\n option apn internet\n";

// The report during the first initialisation, in its order, a table a line.
constexpr char startreport[] =
    "\n result=ok"
    "\nsettings.modem. slot=2"
    "\nsettings.modem.rs485. pull=down"
    "\nsettings.modem.gnss. power=on,mode=3"
    "\nsettings.modem.network. type=auto,iptype=ipv4,iparea=public,apn=internet"
    "\ninfo.kelvantorium. version=1.1,prevstate=init,state=init,error=none,reason=none,"
    "reinit_counter=0"
    "\ninfo.modem. model=none,firmware=none,imei=none,slot1_state=empty,slot2_state=empty"
    "\ninfo.gnss. state=unavailable,fixation=2d,latitude=0,ns=north,longitude=0,ew=east,"
    "altitude=0,pdop=0,hdop=0,vdop=0,validsvs=0,cntsvs=0,datetime=01-01-2000 00:00:00"
    "\ninfo.sim. imsi=none,iccid=none"
    "\ninfo.network. state=disconnected,provider=none,type=none,level=no signal,rssi=-110.00,"
    "rsrp=-100.00,rsrq=-20.00,sinr=0.00,rscp=-124.00,ecio=-20.00,ip=none,gateway=none,"
    "rx_counter=0,tx_counter=0"
    "\ninfo.ussd. state=stopped,cmd=none,answer=none"
    "\ninfo.sms. recv_counter=0,recv_max=32,recv_file=/root/listsms.kelvantorium";

// The same with a connection.
constexpr char connectedreport[] =
    "\n result=ok"
    "\nsettings.modem. slot=2"
    "\nsettings.modem.rs485. pull=down"
    "\nsettings.modem.gnss. power=on,mode=3"
    "\nsettings.modem.network. type=auto,iptype=ipv4,iparea=public,apn=internet"
    "\ninfo.kelvantorium. version=1.1,prevstate=init,state=op,error=none,reason=init done ok,"
    "reinit_counter=0"
    "\ninfo.modem. model=LTE-MODEM-1,firmware=LM1.04.02B01,imei=861000000000013,"
    "slot1_state=inserted,slot2_state=inserted"
    "\ninfo.gnss. state=available,fixation=3d,latitude=5546.1235352,ns=north,"
    "longitude=3737.6542969,ew=east,altitude=156.30,pdop=1.50,hdop=0.90,vdop=1.20,validsvs=7,"
    "cntsvs=8,datetime=15-03-2024 09:30:15"
    "\ninfo.sim. imsi=250990000000002,iccid=8970199000000000025"
    "\ninfo.network. state=connected,provider=Test Operator,type=4g/LTE,level=good,rssi=-70.00,"
    "rsrp=-90.00,rsrq=-10.00,sinr=15.00,rscp=-124.00,ecio=-20.00,ip=203.0.113.2,"
    "gateway=203.0.113.1,rx_counter=0,tx_counter=0"
    "\ninfo.ussd. state=stopped,cmd=none,answer=none"
    "\ninfo.sms. recv_counter=0,recv_max=32,recv_file=/root/listsms.kelvantorium";

std::string shown(const bus_reply &report)
{
    std::string text;
    std::string table = "none";
    for (const auto &[path, value] : report.fields) {
        const std::size_t leaf = path.rfind('.') + 1;
        text += path.substr(0, leaf) == table ? "," : "\n" + (table = path.substr(0, leaf)) + " ";
        text += path.substr(leaf) + "=" + value;
    }
    return text;
}

TEST(bus, reportIsCompleteAndPromptFromTheStart)
{
    virtual_router router({.config = startconfig, .daemon = "kelvantorium-fast", .start = false});
    arrange(router, {held("ATV1"), {"radio", {{"delay", 0}}}});
    ASSERT_TRUE(router.startdaemon());
    ASSERT_TRUE(router.receives("ATV1"));
    const router_mark since = router.mark();
    EXPECT_EQ(shown(router.call("get")), startreport);

    arrange(router, {saying("\r\nOK\r\n")});
    bus_reply report;
    EXPECT_TRUE(wait_until([&] {
        const auto asked = std::chrono::steady_clock::now();
        report = router.call("get");
        EXPECT_LT(std::chrono::steady_clock::now() - asked, 5s);
        return report["info.network.type"] != "none";
    }));
    EXPECT_EQ(shown(report), connectedreport);
    EXPECT_EQ(router.call("at_send", {{"client", "test"}, {"cmd", "AT+CADC=2"}})["result"], "ok");
    std::vector<std::string> grown = router.out(since);
    std::erase_if(grown, [](const auto &line) { return !line.starts_with("realloc: "); });
    EXPECT_LE(grown.size(), 1U) << "only the library's message, which takes in a whole reply";
}

// Types and lengths that are no text; the first is left out.
constexpr std::pair<int, unsigned> mistypes[] = {
    {-1, 0}, {BLOBMSG_TYPE_INT32, 4}, {BLOBMSG_TYPE_BOOL, 1}, {BLOBMSG_TYPE_TABLE, 0}};

TEST(bus, mistypedArgumentsAreMissingArguments)
{
    running_router router;
    raw_client client;
    for (const offered_method &method : offered) {
        const std::string expected =
            method.arguments.empty() ? "ok" : "error: msg has no " + method.arguments.front();
        for (const auto &[type, length] : mistypes) {
            blob_buf *message = client.begin();
            for (const std::string &argument : method.arguments)
                if (type >= 0)
                    blobmsg_add_field(message, type, argument.c_str(), "12345678", length);
            EXPECT_EQ(client.call(method.name, message->head), "result: " + expected)
                << method.name << " " << type << " " << length;
        }
    }
    // A text without its end, a field beyond the end, half a head; nothing before them counts.
    for (const int damage : {0, 1, 2}) {
        blob_buf *message = client.begin();
        blobmsg_add_string(message, "client", "test");
        blobmsg_add_string(message, "modem_slot", "2");
        blobmsg_add_field(message, BLOBMSG_TYPE_STRING, "more", "12345678", damage == 0 ? 8 : 9);
        if (damage > 0)
            message->head->id_len =
                htonl(static_cast<unsigned>(blob_raw_len(message->head) - (damage == 1 ? 4 : 22)));
        EXPECT_EQ(client.call("set", message->head), "result: error: msg is damaged") << damage;
    }
    EXPECT_EQ(read_file(router_configpath), router_defaultconfig);
    EXPECT_EQ(client.call("nonsense", client.begin()->head), "status 3");
    EXPECT_EQ(router.status(statepath), "op");
}

// Damages a message that every method would refuse, so that hardly any damage makes it do harm.
TEST(bus, damagedMessagesAreAnswered)
{
    running_router router({.interval = "1000"});
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
    EXPECT_TRUE(router.becomes(statepath, "op"));
}

}  // namespace
