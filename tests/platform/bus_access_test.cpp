// SPDX-License-Identifier: ISC
// Who may do what on the bus: the broker with the shipped access files, and the daemon behind it.
#include <csignal>
#include <filesystem>
#include <grp.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <libubus.h>

#include "tests/support/router.h"
#include "tests/support/scratch.h"

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

ubus_context *connect_as(const account &who)
{
    become(who.groups, who.group, who.uid);
    ubus_context *context = ubus_connect(nullptr);
    EXPECT_EQ(seteuid(0), 0);
    become({}, 0, 0);
    uloop_done();
    return context;
}

int send(ubus_context *context, const char *event)
{
    blob_buf text{};
    blob_buf_init(&text, 0);
    const int status = ubus_send_event(context, event, text.head);
    blob_buf_free(&text);
    return status;
}

// The objects that somebody sees, and the results of publishing one with a name and one without,
// of calling the daemon's get and sms_get and the simulator's state, of subscribing to the daemon,
// of seeing all messages and of sending the event "alarm2"; whether the event "alarm1" is heard.
constexpr char everything[] = "4 0 0 0 0 0 0 0 0 1";
constexpr char nothing[] = "0 2 0 6 6 6 4 6 6 0";
constexpr char onlyget[] = "1 2 0 0 6 6 0 6 6 0";
constexpr char onlymessages[] = "1 2 0 6 0 6 4 6 6 0";
constexpr char onlysee[] = "1 2 0 6 6 6 4 6 6 0";
constexpr char onlyevents[] = "0 2 0 6 6 6 4 6 0 1";

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

        router.parts.setcommand(router_part::broker, {ROUTER_PROGRAMS "/ubusd", "-A", folder.path});
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
        rights += " " + std::to_string(send(context, "alarm2"));

        static bool isheard;
        isheard = false;
        ubus_event_handler handler{};
        handler.cb = [](auto...) { isheard = true; };
        EXPECT_EQ(ubus_register_event_handler(context, &handler, "alarm*"), 0);
        ubus_context *other = connect_as(root);
        EXPECT_EQ(send(other, "alarm1"), 0);
        ubus_free(other);
        std::uint32_t id = 0;  // a refused lookup of a name succeeds, too
        EXPECT_EQ(ubus_lookup_id(context, "kelvantorium", &id), 0) << who.name;
        ubus_handle_event(context);  // what has come before the lookup's answer
        rights += isheard ? " 1" : " 0";
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
    reload(plain, "4 0 0 0 0 0 0 6 0 1");  // others' messages are root's alone to see

    grant("a.json", R"({"user":"plain","listen":["alarm2"],"send":["alarm1"]})");
    reload(plain, nothing);
    grant("a.json", R"({"user":"plain","listen":["alarm1"],"send":["alarm2"]})");
    reload(plain, onlyevents);
}

}  // namespace
