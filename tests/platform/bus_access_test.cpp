// SPDX-License-Identifier: ISC
// Who may do what on the bus: the broker with the shipped access files, and the daemon behind it.
#include <grp.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <libubus.h>

#include "bus_wire.h"
#include "tests/support/router.h"

namespace
{

namespace fs = std::filesystem;

struct account {
    const char *name;
    uid_t uid;
    gid_t group;  // the primary one
    std::vector<gid_t> groups;
};

const account root = {"root", 0, 0, {}};
const account reader = {"reader", 4001, 4001, {4100}};  // of the status group
const account sender = {"sender", 4002, 4200, {}};      // of the messages group
const account plain = {"plain", 4003, 4003, {}};        // of no group that counts
const account wheel = {"wheel", 4004, 0, {}};           // of group 0
const account ghost = {"", 4999, 4003, {}};             // in no password file

void become(const std::vector<gid_t> &groups, gid_t group, uid_t user)
{
    EXPECT_TRUE(setgroups(groups.size(), groups.data()) == 0 && setegid(group) == 0 &&
                seteuid(user) == 0);
}

// What is connected in `run` speaks for the account.
template <typename action>
auto as(const account &who, action &&run)
{
    become(who.groups, who.group, who.uid);
    auto result = run();
    EXPECT_EQ(seteuid(0), 0);
    become({}, 0, 0);
    return result;
}

ubus_context *connect_as(const account &who)
{
    ubus_context *context = as(who, [] { return ubus_connect(nullptr); });
    uloop_done();
    return context;
}

// The objects that somebody sees, and the results of publishing one with a name and one without,
// and of calling the daemon's get and sms_get and the simulator's state, of subscribing to
// the daemon and of seeing all messages.
constexpr char everything[] = "4 0 0 0 0 0 0 0";
constexpr char nothing[] = "0 2 0 6 6 6 4 6";
constexpr char onlyget[] = "1 2 0 0 6 6 0 6";
constexpr char onlymessages[] = "1 2 0 6 0 6 4 6";
constexpr char onlysee[] = "1 2 0 6 6 6 4 6";

struct access_rights : testing::Test {
    const scratch_folder folder;  // of the access files
    virtual_router router{{.broker = false, .start = false}};
    std::uint32_t daemon = 0;
    std::uint32_t modem = 0;

    void SetUp() override
    {
        if (setgroups(0, nullptr) != 0)
            GTEST_SKIP() << "three users need the real root: an ordinary user is but one inside";
        fs::permissions(folder.path, fs::perms(0755));
        for (const auto &entry : fs::directory_iterator(SHIPPED_ACCESS_FILES))
            grant(entry.path().filename(), read_file(entry.path()));
        static const std::string hostusers = read_file("/etc/passwd");
        static const std::string hostgroups = read_file("/etc/group");
        std::string users = hostusers;
        for (const account &who : {reader, sender, plain, wheel})
            users += std::string(who.name) + ":x:" + std::to_string(who.uid) + ":" +
                     std::to_string(who.group) + "::/:/bin/sh\n";
        write_file("/etc/passwd", users);
        write_file("/etc/group", hostgroups);
        addgroups("reader:x:4001:\nsender:x:4200:\nplain:x:4003:\nkelvantorium-status:x:4100:\n");

        router.parts.setcommand(router_part::broker, {BUS_PROGRAMS "/ubusd", "-A", folder.path});
        for (const router_part part :
             {router_part::broker, router_part::network, router_part::modem})
            ASSERT_TRUE(router.parts.start(part)) << router.parts.error();
        ASSERT_TRUE(router.startdaemon());
        ubus_context *context = connect_as(root);
        ASSERT_EQ(ubus_lookup_id(context, "kelvantorium", &daemon), 0);
        ASSERT_EQ(ubus_lookup_id(context, "simulator", &modem), 0);
        ubus_free(context);
    }
    static void addgroups(const std::string &lines)
    {
        write_file("/etc/group", read_file("/etc/group") + lines);
    }
    void grant(const std::string &name, const std::string &text, unsigned mode = 0644) const
    {
        write_file(folder.path / name, text);
        fs::permissions(folder.path / name, fs::perms(mode));
    }
    std::string of(const account &who) const
    {
        ubus_context *context = connect_as(who);
        if (context == nullptr) return "no connection";
        int visible = 0;
        const auto count = [](ubus_context *, ubus_object_data *, void *number) {
            ++*static_cast<int *>(number);
        };
        EXPECT_EQ(ubus_lookup(context, nullptr, count, &visible), 0);
        std::string rights = std::to_string(visible);
        ubus_object_type type = {"t", 0, nullptr, 0};
        ubus_object objects[2] = {};
        objects[0].name = "own";
        objects[0].type = &type;
        for (ubus_object &object : objects)
            rights += " " + std::to_string(ubus_add_object(context, &object));
        const std::pair<std::uint32_t, const char *> calls[] = {
            {daemon, "get"}, {daemon, "sms_get"}, {modem, "state"}};
        for (const auto &[object, method] : calls)
            rights += " " + std::to_string(ubus_invoke(context, object, method, nullptr, nullptr,
                                                       nullptr, 60000));
        ubus_subscriber subscriber{};
        EXPECT_EQ(ubus_register_subscriber(context, &subscriber), 0);
        rights += " " + std::to_string(ubus_subscribe(context, &subscriber, daemon));
        rights += " " + std::to_string(ubus_monitor_start(context));
        std::uint32_t id = 0;  // a refused lookup of a name succeeds, too
        EXPECT_EQ(ubus_lookup_id(context, "kelvantorium", &id), 0) << who.name;
        ubus_free(context);
        return rights;
    }
    // Waits until the broker has read its files and an account has these rights.
    void reload(const account &who, const std::string &rights) const
    {
        kill(router.parts.pid(router_part::broker), SIGHUP);
        EXPECT_TRUE(wait_until([&] { return of(who) == rights; })) << of(who);
    }
};

using access_hardening = access_rights;

TEST_F(access_rights, followTheShippedFilesAndTheGroupsOfTheCaller)
{
    EXPECT_EQ(of(root), everything);
    EXPECT_EQ(of(reader), onlyget);
    EXPECT_EQ(of(plain), nothing);
    EXPECT_EQ(of(sender), nothing);  // its group is not there yet
    EXPECT_EQ(of(ghost), "no connection");

    addgroups("kelvantorium-messages:x:4200:\n");
    EXPECT_EQ(of(sender), nothing);  // names are resolved when the files are read
    reload(sender, onlymessages);
    EXPECT_EQ(of(reader), onlyget);
}

TEST_F(access_hardening, onlyTrustedFilesAndNamesThatExistCount)
{
    EXPECT_EQ(of(wheel), nothing);  // a group that does not exist is not group 0
    const std::string all =
        R"("access":{"*":{"methods":["*"]}},"publish":["o*"],"subscribe":["*"],"listen":["*"],"send":["a*"]})";
    const std::string toplain = R"({"user":"plain",)" + all;
    grant("a.json", toplain, 0664);
    grant("b.json", toplain);
    ASSERT_EQ(chown((folder.path / "b.json").c_str(), plain.uid, 0), 0);
    grant("c.text", toplain);
    grant("d.json", "{" + all);
    grant("e.json", R"({"user":["plain"],)" + all);
    grant("f.json", "[1]");
    grant("g.json", R"({"group":"sender","access":{"simulator":{},"kelvantorium":[]}})");
    reload(sender, onlysee);  // the seventh file is sound
    EXPECT_EQ(of(plain), nothing);

    grant("a.json", toplain);
    fs::permissions(folder.path, fs::perms(0777));
    reload(reader, nothing);  // the folder is not trusted
    fs::permissions(folder.path, fs::perms(0755));
    reload(plain, "4 0 0 0 0 0 0 6");  // others' messages are root's alone to see
}

TEST_F(access_rights, holdForEventsToo)
{
    // Sends an event; its status, and whether it came before the answer to what was asked later.
    const auto send = [](const account &who, const char *event, const wire &listener) {
        ubus_context *context = connect_as(who);
        blob_buf text{};
        blob_buf_init(&text, 0);
        blobmsg_add_string(&text, "id", event);
        blobmsg_close_table(&text, blobmsg_open_table(&text, "data"));
        const int status = ubus_invoke(context, 1, "send", text.head, nullptr, nullptr, 60000);
        blob_buf_free(&text);
        ubus_free(context);
        const std::string first = listener.ask(message("00031234 00000000", ""));
        const bool isheard = !first.starts_with("0002");
        for (int rest = isheard ? 2 : 1; rest > 0; rest--)
            listener.receive();
        return std::to_string(status) + (isheard ? " heard" : "");
    };
    const auto listen = [](const account &who) {
        auto listener = as(who, [] { return std::make_unique<wire>("/var/run/ubus/ubus.sock"); });
        (void)listener->hear("alarm*");
        return listener;
    };
    grant("a.json", R"({"user":"plain","listen":["alarm1"],"send":["alarm2"]})");
    const auto listener = listen(plain);
    EXPECT_EQ(send(root, "alarm1", *listener), "0");  // the file is not read yet
    reload(plain, nothing);
    EXPECT_TRUE(wait_until([&] { return send(root, "alarm1", *listener) == "0 heard"; }));
    EXPECT_EQ(send(root, "alarm2", *listener), "0");
    EXPECT_EQ(send(plain, "alarm1", *listener), "6");
    EXPECT_EQ(send(plain, "alarm2", *listener), "0");
    EXPECT_EQ(send(reader, "alarm2", *listener), "6");
    const auto free = listen(root);
    EXPECT_EQ(send(plain, "alarm2", *free), "0 heard");
}

// The one place that a broker may leave something at is where it was told to listen.
TEST(broker_hardening, makesTheFolderOfItsSocketAndNoOther)
{
    const scratch_folder folder;
    const std::string path = folder.path / "bus" / "sock";
    fs::remove_all("/run/ubus");
    const pid_t broker = process_start({BUS_PROGRAMS "/ubusd", "-s", path});
    EXPECT_TRUE(wait_until([&] { return fs::exists(path); }));
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0666));
    EXPECT_EQ(fs::status(folder.path / "bus").permissions(), fs::perms(0755));
    EXPECT_EQ(process_stop(broker, SIGTERM, patience), 0);
    EXPECT_FALSE(fs::exists(path) || fs::exists("/run/ubus"));
}

}  // namespace
