// SPDX-License-Identifier: ISC
// Octets as hexadecimal text, and a broker with connections that speak octets.
#pragma once

#include <csignal>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "simulator/router/process.h"
#include "tests/support/scratch.h"

constexpr std::chrono::milliseconds patience(30000);

// Blanks are only for the eye.
inline std::string octets(std::string hex)
{
    const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
    std::erase(hex, ' ');
    std::string bytes;
    for (std::size_t at = 0; at < hex.size(); at += 2)
        bytes += static_cast<char>(digit(hex[at]) * 16 + digit(hex[at + 1]));
    return bytes;
}

inline std::string hexof(std::string_view bytes)
{
    std::string hex;
    for (const char c : bytes) {
        hex += "0123456789abcdef"[static_cast<unsigned char>(c) >> 4];
        hex += "0123456789abcdef"[c & 15];
    }
    return hex;
}

// A header, a blob with its length, and their padding: what all attributes and bodies are.
inline std::string sized(std::size_t id, const std::string &payload)
{
    std::string bytes = octets(payload);
    const std::size_t word = id << 24 | (bytes.size() + 4);
    bytes.resize((bytes.size() + 3) / 4 * 4, '\0');
    for (int shift = 0; shift <= 24; shift += 8)
        bytes.insert(bytes.begin(), static_cast<char>(word >> shift & 0xff));
    return hexof(bytes);
}

inline std::string message(const std::string &header, const std::string &attributes)
{
    return hexof(octets(header)) + sized(0, attributes);
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
        id = receive().substr(8, 8);
    }
    ~wire()
    {
        hangup();
    }
    wire(const wire &) = delete;
    wire &operator=(const wire &) = delete;

    void hangup()
    {
        if (fd >= 0) close(fd);
        fd = -1;
    }
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
    // Registers for events; the number, as an attribute, of the nameless object that they go to.
    std::string hear(const std::string &pattern) const
    {
        const std::string object = ask(message("00060001 00000000", "")).substr(24, 16);
        EXPECT_TRUE(receive().starts_with("0001"));
        const std::string interest =
            sized(7, "85000014 0006 6f626a656374 00 000000" + object.substr(8) +
                         sized(0x83, "0007 7061747465726e 00 0000" + hexof(pattern) + "00"));
        EXPECT_EQ(ask(message("00050002 00000001",
                              "03000008 00000001 0400000d 7265676973746572 00 000000" + interest)),
                  message("00010002 00000001", "01000008 00000000"));
        return object;
    }

    int fd;
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

struct bus_fixture : testing::Test {
    const scratch_folder folder;
    const std::string path = folder.path / "sock";
    pid_t broker = process_start({BUS_PROGRAMS "/ubusd", "-s", path});

    bus_fixture()
    {
        EXPECT_GE(std::stoul(wire(path).id, nullptr, 16), 1024U);
    }
    ~bus_fixture() override
    {
        if (broker == -1) return;  // stopped by the test
        EXPECT_EQ(process_stop(broker, SIGTERM, patience), 0);
        EXPECT_FALSE(std::filesystem::exists(path)) << "the socket file is still there";
    }
};
