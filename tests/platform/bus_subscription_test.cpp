// SPDX-License-Identifier: ISC
// Subscriptions and notifications, octet by octet, and what the command line client makes of them.
#include <grp.h>
#include <pwd.h>

#include "bus_wire.h"
#include "shell.h"

namespace
{

using subscriptions = bus_fixture;

const std::string demo = "02000009 64656d6f00 000000 ";
const std::string alarm = "0400000a 616c61726d00 0000";  // METHOD, the type of a notification
const std::string text = sized(7, "8300000a 0001 61 00 3100 0000");  // {"a":"1"}
const std::string names = sized(12, hexof(getpwuid(getuid())->pw_name) + "00") +
                          sized(13, hexof(getgrgid(getgid())->gr_name) + "00");
const std::string quiet = "0a000005 01000000";  // NO_REPLY
const std::string none = "12345678";            // no object's id

std::string objid(const std::string &id)
{
    return "03000008" + id;
}

std::string target(const std::string &id)
{
    return "08000008" + id;
}

// Unasked messages have a number of their own.
std::string unnumbered(std::string hex)
{
    return hex.size() < 8 ? hex : hex.replace(4, 4, "0000");
}

struct object {
    object(const std::string &path, const std::string &attributes) : at(path)
    {
        const std::string added = at.ask(message("00060001 00000000", attributes));
        id = added.substr(32, 8);
        EXPECT_EQ(at.receive(), message("00010001 00000000", "01000008 00000000"));
    }
    wire at;
    std::string id;
};

TEST_F(subscriptions, everyStatusAndMessageIsAsAgreed)
{
    const object publisher(path, demo + "06000004"), reader(path, "");
    object other(path, "");
    const auto expect = [](const object &who, const std::string &header, const std::string &body) {
        EXPECT_EQ(unnumbered(who.at.receive()), message(header, body));
    };
    const auto expect_status = [&](const object &who, int type, const std::string &attributes,
                                   int status, const char *what) {
        const char digits[] = {"0123456789abcdef"[type], '\0'};
        EXPECT_EQ(who.at.ask(message(std::string("000") + digits + "0007 00000005", attributes)),
                  message("00010007 00000005", "01000008 0000000" + std::to_string(status)))
            << what;
    };
    const std::string pair = objid(reader.id) + target(publisher.id);
    const std::string others = objid(other.id) + target(publisher.id);
    const std::string alarms = objid(publisher.id) + alarm + text;
    const struct {
        const object &who;
        int type;
        std::string attributes;
        int status;
        const char *what;
    } refusals[] = {
        {reader, 8, objid(reader.id), 2, "no target"},
        {reader, 8, target(publisher.id), 2, "no object"},
        {reader, 8, objid(none) + target(publisher.id), 4, "unknown subscriber"},
        {reader, 8, others, 2, "another's subscriber"},
        {reader, 8, objid(reader.id) + target(none), 4, "unknown target"},
        {reader, 8, objid(reader.id) + target("00000001"), 4, "an object of the broker"},
        {reader, 8, objid(reader.id) + target(reader.id), 2, "own target"},
        {reader, 9, objid(reader.id), 2, "no target"},
        {reader, 9, pair, 4, "no such subscription"},
        {reader, 9, objid(reader.id) + target(none), 4, "unknown target"},
        {publisher, 10, objid(publisher.id), 2, "no type"},
        {publisher, 10, alarm + text, 2, "no object"},
        {publisher, 10, objid(none) + alarm, 4, "unknown object"},
        {other, 10, alarms, 6, "another's object"},
    };
    for (const auto &row : refusals)
        expect_status(row.who, row.type, row.attributes, row.status, row.what);

    // The publisher learns of the first and of the last subscriber only.
    const auto expect_active = [&](const char *active) {
        expect(publisher, "000a0000 00000000",
               objid(publisher.id) + "09000005" + active + "000000");
    };
    expect_status(reader, 8, pair, 0, "first");
    expect_active("01");
    expect_status(reader, 8, pair, 0, "the same again");
    expect_status(other, 8, others, 0, "another one");
    const auto expect_alarm = [&](const object &who, const std::string &last) {
        expect(who, "00050000" + publisher.at.id, objid(who.id) + alarm + names + text + last);
    };
    const auto expect_alarms = [&](const std::string &last) {
        expect_alarm(reader, last);
        expect_alarm(reader, last);
        expect_alarm(other, last);
    };
    publisher.at.send(message("000a0009 00000000", alarms + quiet));
    expect_alarms(quiet);
    EXPECT_EQ(publisher.at.ask(message("000a0009 00000000", alarms)),
              message("00010009 00000000", "01000008 00000000" + objid(publisher.id) +
                                               sized(11, "00000008" + reader.id + "00000008" +
                                                             reader.id + "00000008" + other.id)));
    expect_alarms("");
    reader.at.send(message("00010009" + publisher.at.id, "01000008 00000003" + objid(reader.id)));
    expect(publisher, "00010000" + reader.id, "01000008 00000003" + objid(reader.id));

    expect_status(reader, 9, pair, 0, "one less");
    publisher.at.send(message("000a0009 00000000", alarms + quiet));
    expect_alarm(reader, quiet);
    expect_alarm(other, quiet);
    expect_status(reader, 9, pair, 0, "none left");
    other.at.hangup();
    expect_active("00");
    expect_status(reader, 8, pair, 0, "first again");
    expect_active("01");
    publisher.at.send(message("00070009 00000000", objid(publisher.id)));
    expect(reader, "00090000 00000000", pair);
}

TEST_F(subscriptions, readerThatDoesNotReadLosesItsConnectionAndNobodyElseWaits)
{
    const object publisher(path, demo + "06000004"), deaf(path, "");
    deaf.at.send(message("00080002 00000000", objid(deaf.id) + target(publisher.id)));
    EXPECT_TRUE(publisher.at.receive().starts_with("000a"));
    const std::string flood = message("000a0003 00000000", objid(publisher.id) + alarm + quiet +
                                                               sized(7, std::string(8192, '0')));
    for (int i = 0; i < 1000; i++)  // some 4 MiB, of which 1 MiB is kept
        publisher.at.send(flood);
    EXPECT_TRUE(publisher.at.receive().starts_with("000a")) << "the last subscriber has gone";
}

#ifdef BUS_TOOL
const std::string tool = "'" BUS_PROGRAMS "/ubus' -s ";

// Where nobody has written down what they print, this is what the genuine tools print.
TEST_F(subscriptions, subscribeAndListenPrintALineAtOnceAsTheGenuineToolsDo)
{
    const std::filesystem::path out = folder.path / "out";
    const auto start = [&](const std::string &command) {
        std::filesystem::remove(out);
        return process_start(
            {"/bin/sh", "-c", "exec " + tool + path + " " + command + " > " + out.string()});
    };
    const object publisher(path, demo + "06000004");
    const pid_t subscriber = start("subscribe demo");
    EXPECT_TRUE(publisher.at.receive().starts_with("000a"));
    publisher.at.send(message("000a0009 00000000", objid(publisher.id) + alarm + quiet + text));
    publisher.at.send(message("000a0009 00000000", objid(publisher.id) + alarm + quiet));
    const std::string lines = "{ \"alarm\": {\"a\":\"1\"} }\n";
    EXPECT_TRUE(wait_until([&] { return read_file(out) == lines; })) << read_file(out);
    EXPECT_EQ(process_stop(subscriber, SIGTERM, patience), 0);
    EXPECT_TRUE(publisher.at.receive().starts_with("000a")) << "the last subscriber has gone";

    const pid_t listener = start("listen");
    EXPECT_TRUE(wait_until([&] {
        EXPECT_EQ(shell(tool + path + " send a.b '{\"c\":[1,{}]}'").second, 0);
        return read_file(out).starts_with("{ \"a.b\": {\"c\":[1,{}]} }\n");
    }));
    EXPECT_EQ(process_stop(listener, SIGTERM, patience), 0);

    const pid_t monitor = start("monitor");
    EXPECT_TRUE(wait_until([&] {
        EXPECT_EQ(shell(tool + path + " -S call demo a '{\"b\":[1]}' -t -1").second, 7);
        const std::string seen = read_file(out);
        const std::string call =
            "         invoke: {\"objid\":" +
            std::to_string(std::int32_t(std::stoul(publisher.id, nullptr, 16))) +
            ",\"method\":\"a\"";
        return seen.find(" #" + publisher.id + call + ",\"data\":{\"b\":[1]}}\n") != seen.npos &&
               seen.find("\n-> " + publisher.at.id + " #") < seen.find(call + ",\"user\":");
    })) << read_file(out);
    EXPECT_EQ(process_stop(monitor, SIGTERM, patience), 0);

    const std::string error = "Error while registering for event 'nobody': Not found\n";
    const struct {
        const char *command;
        int exit;
        std::string output;
    } rows[] = {
        {"subscribe", 255, "You need to specify an object to subscribe to\n"},
        {"subscribe demo nobody", 255, error},
        {"-S subscribe nobody", 255, ""},
        {"-t 1 subscribe demo", 0, ""},
        {"-t 1 listen 'x*' y", 0, ""},
        {"-S send a '{bad'", 12, ""},
        {"-S send ubus.a", 6, ""},
    };
    for (const auto &row : rows)
        EXPECT_EQ(shell(tool + path + " " + row.command), std::pair(row.output, row.exit))
            << row.command;
}
#endif

}  // namespace
