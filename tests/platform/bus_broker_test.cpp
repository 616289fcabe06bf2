// SPDX-License-Identifier: ISC
// The broker, octet by octet.
#include <grp.h>
#include <pwd.h>

#include "bus_wire.h"

namespace
{

using bus = bus_fixture;
using bus_hardening = bus_fixture;

const std::string path_demo = "02000009 64656d6f00 000000 ";
const std::string signature =
    "06000034 82000030 0004 6563686f 00 00 85000014 0006 636c69656e74"
    "00 000000 00000003 85000010 0004 74657874 00 00 00000003";
const std::string add_demo = message("00060001 00000000", path_demo + signature);
const std::string lookup_demo = message("00040001 00000000", path_demo);

std::string status(const char *header, const char *value)
{
    return message(header, std::string("01000008") + value);
}

TEST_F(bus, everyOctetOfAConversationIsAsAgreed)
{
    const wire owner(path), caller(path);
    const auto expect = [](const wire &from, const std::string &hex) {
        EXPECT_EQ(from.receive(), hex);
    };
    const std::string added = owner.ask(add_demo);
    ASSERT_EQ(added.size(), 56U);
    const std::string object = added.substr(24, 16), type = added.substr(40), id = object.substr(8);
    EXPECT_EQ(added, message("00020001 00000000", object + type));
    EXPECT_TRUE(object.starts_with("03000008") && type.starts_with("05000008")) << added;
    expect(owner, status("00010001 00000000", "00000000"));
    owner.send(message("00060002 00000000", path_demo + type));
    expect(owner, status("00010002 00000000", "00000002"));

    caller.send(lookup_demo);
    expect(caller, message("00020001 00000000", path_demo + object + type + signature));
    expect(caller, status("00010001 00000000", "00000000"));
    caller.send(message("00040001 00000000", "02000008 6d692a00"));
    expect(caller, status("00010001 00000000", "00000004"));

    const std::string call = object + "04000009 6563686f00 000000";
    const std::string data = sized(7, "83000014 0006 636c69656e74 00 000000 77656200");
    const std::string names = sized(12, hexof(getpwuid(getuid())->pw_name) + "00") +
                              sized(13, hexof(getgrgid(getgid())->gr_name) + "00");
    caller.send(message("00050002" + id, call + data));
    expect(owner, message("00050002" + caller.id, call + names + data));
    owner.send(message("00020002" + caller.id, object + data));
    expect(caller, message("00020002" + id, object + data));
    owner.send(message("00010002" + caller.id, "01000008 ffffffff" + object));
    expect(caller, message("00010002" + id, "01000008 ffffffff" + object));

    caller.send(message("00031234 00000077", "07000008 61626364"));
    expect(caller, message("00021234 00000077", "07000008 61626364"));
    expect(caller, status("00011234 00000077", "00000000"));
    caller.send(message("00070002 00000000", object));
    expect(caller, status("00010002 00000000", "00000006"));  // not its own
    owner.send(message("00070002 00000000", object));
    expect(owner, message("00020002 00000000", object + type));
    expect(owner, status("00010002 00000000", "00000000"));
}

TEST_F(bus, whatIsNotUnderstoodIsAnsweredAllTheSame)
{
    // clang-format off
    const struct {
        const char *name, *type, *attributes, *status;
    } rows[] = {
        {"unknown type", "63", "", "00000001"},
        {"hello from a client", "00", "", "00000001"},
        {"monitor", "0b", "", "00000001"},
        {"no objects yet", "04", "", "00000000"},
        {"empty path", "04", "02000005 00000000", "00000002"},
        {"path without NUL is no path", "04", "02000008 61626364", "00000000"},
        {"call without method", "05", "03000008 12345678", "00000002"},
        {"call of nobody", "05", "03000008 12345678 04000006 61000000", "00000004"},
        {"method of the event object", "05", "03000008 00000001 04000006 61000000", "00000001"},
        {"remove nothing", "07", "", "00000002"},
        {"remove unknown", "07", "03000008 12345678", "00000004"},
    };
    // clang-format on
    const wire client(path);
    for (const auto &row : rows) {
        const std::string request = std::string("00") + row.type + "0007 00000005";
        EXPECT_EQ(client.ask(message(request, row.attributes)),
                  status("00010007 00000005", row.status))
            << row.name;
    }
}

TEST_F(bus, objectsAndTheirListenersFollowTheConnection)
{
    wire owner(path), listener(path);
    const std::string hears = listener.hear("ubus.o*");
    const std::string id = owner.ask(add_demo).substr(32, 8);
    const std::string data = sized(
        7, "85000010 0002 6964 00 000000" + id + "83000011 0004 70617468 00 00 64656d6f00 000000");
    const auto event = [&](const char *header, std::string name) {
        return message(header, hears + sized(4, hexof(name) + "00") + data);
    };
    EXPECT_EQ(listener.receive(), event("00050001 00000000", "ubus.object.add"));
    owner.hangup();
    EXPECT_EQ(listener.receive(), event("00050002 00000000", "ubus.object.remove"));
    EXPECT_EQ(listener.ask(lookup_demo), status("00010001 00000000", "00000004"));
}

TEST_F(bus_hardening, listsAreSentWholeToSlowReaders)
{
    constexpr int count = 3000;  // of some 800 octets each: beyond what is queued otherwise
    const wire owner(path), slow(path), other(path);
    const std::string tail = hexof(std::string(700, 'x')) + "00";
    for (int number = 99999; number > 99999 - count; number--) {
        owner.send(message("00060001 00000000",
                           sized(2, hexof(std::to_string(number)) + tail) + signature));
        EXPECT_TRUE(owner.receive().starts_with("0002"));
        EXPECT_EQ(owner.receive(), status("00010001 00000000", "00000000"));
    }
    slow.send("00040001 00000000 00000004");
    for (int turn = 0; turn < 2; turn++)  // by then the list is on its way
        EXPECT_EQ(other.ask(lookup_demo), status("00010001 00000000", "00000004"));
    std::string last;
    int listed = 0;
    for (std::string next; (next = slow.receive()).starts_with("0002"); last = next, listed++)
        ASSERT_LT(last, next) << "not by name";
    EXPECT_EQ(listed, count);
}

TEST_F(bus_hardening, hostileClientsHurtOnlyThemselves)
{
    for (const char *length : {"00000003", "00000000", "00100001", "00ffffff"})
        EXPECT_EQ(wire(path).ask("00040001 00000000" + std::string(length)), "") << length;
    const wire half(path), deaf(path), other(path);
    half.send("00040001 00000000 000f0000 02");

    // 16 MiB of pings, their answers not read.
    const std::string ping = message("00030001 00000000", std::string(2 << 16, '0'));
    for (int i = 0; i < 256; i++)
        deaf.send(ping);
    EXPECT_EQ(other.ask(lookup_demo), status("00010001 00000000", "00000004"));

    // What was not dropped is whole, and the connection works again when it is read.
    std::size_t kept = 0;
    std::string answer;
    do {
        deaf.send("00030002 00000000 00000004");
        answer = deaf.receive();
        ASSERT_TRUE(answer.starts_with("00020") || answer.starts_with("00010")) << answer.size();
        kept += answer.size() / 2;
    } while (answer.substr(4, 4) != "0002");
    EXPECT_LT(kept, std::size_t{4} << 20);
}

}  // namespace
