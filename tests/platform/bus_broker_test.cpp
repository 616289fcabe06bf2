// SPDX-License-Identifier: ISC
// The broker speaks the octets of docs/bus-wire.md, and clients that do not read harm nobody else.
#include <algorithm>
#include <cctype>
#include <csignal>
#include <map>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "simulator/router/process.h"
#include "tests/platform/octets.h"
#include "tests/support/scratch.h"
#include "tests/support/table.h"

namespace
{

constexpr std::chrono::milliseconds patience(30000);
constexpr char lookup[] = "00040001 00000000 00000010 02000009 64656d6f00 000000";
constexpr char notfound[] = "00010001000000000000000c0100000800000004";

std::string hexof(const std::string &bytes)
{
    std::string hex;
    for (const char c : bytes) {
        hex += "0123456789abcdef"[static_cast<unsigned char>(c) >> 4];
        hex += "0123456789abcdef"[c & 15];
    }
    return hex;
}

class wire
{
public:
    explicit wire(const std::string &path) : fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        const auto *target = reinterpret_cast<sockaddr *>(&address);
        EXPECT_TRUE(wait_until([&] { return connect(fd, target, sizeof(address)) == 0; }));
        const std::string hello = receive();
        id = hello.substr(8, 8);
        EXPECT_EQ(hello, "00000000" + id + "00000004");
        EXPECT_GE(id, "00000400") << "the broker's own";
    }
    ~wire()
    {
        close(fd);
    }
    wire(const wire &) = delete;
    wire &operator=(const wire &) = delete;

    void send(const std::string &hex) const
    {
        const std::string bytes = octets(hex);
        ASSERT_EQ(::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), ssize_t(bytes.size()));
    }
    // One message, or "" at the end of the connection.
    std::string receive() const
    {
        const std::string head = take(12);
        return head.size() == 24 ? head + take(std::stoul(head.substr(18), nullptr, 16) - 4) : head;
    }
    std::string ask(const std::string &hex) const
    {
        send(hex);
        return receive();
    }

    const int fd;
    std::string id;

private:
    std::string take(std::size_t size) const
    {
        std::string bytes(size, '\0');
        for (std::size_t got = 0; got < size;) {
            pollfd wait{fd, POLLIN, 0};
            if (poll(&wait, 1, int(patience.count())) <= 0) return "silence";
            const ssize_t count = read(fd, &bytes[got], size - got);
            if (count <= 0) return "";
            got += static_cast<std::size_t>(count);
        }
        return hexof(bytes);
    }
};

struct bus : testing::Test {
    const scratch_folder folder;
    const std::string path = folder.path / "bus" / "sock";
    const pid_t broker = process_start({ROUTER_PROGRAMS "/ubusd", "-s", path});
    std::map<std::string, wire> clients;
    std::map<std::string, std::string> numbers;

    ~bus() override
    {
        EXPECT_EQ(process_stop(broker, SIGTERM, patience), 0);
        EXPECT_FALSE(std::filesystem::exists(path)) << "the socket file is still there";
        EXPECT_FALSE(std::filesystem::exists("/run/ubus")) << "nobody has asked for this folder";
    }
    wire &client(const std::string &name)
    {
        const auto [at, isnew] = clients.try_emplace(name, path);
        if (isnew) numbers[name] = at->second.id;
        return at->second;
    }
    // The octets of a cell. A number that is not known yet is the one that has come in its place.
    std::string octetsof(const std::string &cell, const std::string &come = "")
    {
        std::string hex;
        for (const std::string &word : words_of(cell)) {
            const std::string here = come.substr(std::min(come.size(), hex.size()), 8);
            if (word == "....")
                hex += here.substr(0, 4);
            else if (std::isupper(word[0]) != 0)
                hex += numbers.try_emplace(word, here).first->second;
            else
                hex += word;
        }
        return hex;
    }
    void speak(const std::string &heading)
    {
        const auto rows = readtable("bus-wire.md", heading);
        EXPECT_GE(rows.size(), 9U) << heading;
        for (const auto &cells : rows) {
            if (cells[0] == "BROKER") {
                const std::string come = client(cells[1]).receive();
                EXPECT_EQ(come, octetsof(cells[2], come)) << cells[1] << ": " << cells[3];
            } else if (cells[1] == "BROKER") {
                client(cells[0]).send(octetsof(cells[2]));
            } else {
                clients.erase(cells[0]);
            }
        }
    }
};

using bus_hardening = bus;

TEST_F(bus, callsAreAsAgreed)
{
    speak("A call");
}

TEST_F(bus, eventsAreAsAgreed)
{
    speak("Events");
}

TEST_F(bus, subscriptionsAndRefusalsAreAsAgreed)
{
    speak("Three clients");
    const auto refusals = readtable("bus-wire.md", "Refusals");
    EXPECT_EQ(refusals.size(), 23U);
    for (const auto &cells : refusals)
        EXPECT_EQ(client(cells[0]).ask(octetsof(cells[1])),
                  "00010007000000050000000c01000008" + cells[2])
            << cells[3];
    speak("Subscriptions");
}

TEST_F(bus, readerThatDoesNotReadLosesItsConnectionAndNobodyElseWaits)
{
    speak("Three clients");
    client("READER").send(octetsof("00080002 00000000 00000014 03000008 READS 08000008 DEMO"));
    EXPECT_TRUE(client("PUBLISHER").receive().starts_with("000a"));
    const std::string flood = octetsof(
        "000a0003 00000000 00001024 03000008 DEMO 0400000a 616c61726d00 0000 0a000005 01000000");
    const std::string data = "07001004" + std::string(8192, '0');
    for (int i = 0; i < 1000; i++)  // some 4 MiB, of which 1 MiB is kept
        client("PUBLISHER").send(flood + data);
    EXPECT_TRUE(client("PUBLISHER").receive().starts_with("000a"))
        << "the last subscriber has gone";
}

TEST_F(bus_hardening, listsAreSentWholeToSlowReaders)
{
    constexpr int count = 3000;  // of some 800 octets each: beyond what is queued otherwise
    const wire owner(path), slow(path), other(path);
    const std::string tail = hexof(std::string(702, 'x')) + "00";
    for (int number = 10000; number < 10000 + count; number++) {
        const std::string name = hexof(std::to_string(number)) + tail;
        owner.send("00060001 00000000 000002d0 020002c8" + name + "06000004");
        EXPECT_TRUE(owner.receive().starts_with("0002"));
        EXPECT_TRUE(owner.receive().starts_with("0001"));
    }
    slow.send("00040001 00000000 00000004");
    for (int turn = 0; turn < 2; turn++)  // by then the list is on its way
        EXPECT_EQ(other.ask(lookup), notfound);
    int listed = 0;
    while (slow.receive().starts_with("0002"))
        listed++;
    EXPECT_EQ(listed, count);
}

TEST_F(bus_hardening, hostileClientsHurtOnlyThemselves)
{
    for (const char *length : {"00000003", "00000000", "00100001", "00ffffff"})
        EXPECT_EQ(wire(path).ask("00040001 00000000" + std::string(length)), "") << length;
    const wire half(path), deaf(path), other(path);
    half.send("00040001 00000000 000f0000 02");

    // 16 MiB of pings, their answers not read.
    const std::string ping = "00030001 00000000 00010004" + std::string(2 << 16, '0');
    for (int i = 0; i < 256; i++)
        deaf.send(ping);
    EXPECT_EQ(other.ask(lookup), notfound);

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
