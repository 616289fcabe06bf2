// Octets as hexadecimal text, and a broker with connections that speak octets.
#pragma once

#include <csignal>
#include <cstdlib>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

constexpr int patience = 30000;  // ms

// Blanks are only for the eye.
inline std::string octets(std::string_view hex)
{
    std::string digits, bytes;
    for (const char c : hex) {
        if (c != ' ') digits += c;
        if (digits.size() < 2) continue;
        bytes += static_cast<char>(std::stoi(digits, nullptr, 16));
        digits.clear();
    }
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

inline std::string squeezed(std::string_view hex)
{
    return hexof(octets(hex));
}

// A header, a blob with its length, and their padding: what all attributes and bodies are.
inline std::string sized(std::size_t id, std::string_view payload)
{
    std::string bytes = octets(payload);
    const std::size_t word = id << 24 | (bytes.size() + 4);
    bytes.resize((bytes.size() + 3) / 4 * 4, '\0');
    for (int shift = 0; shift <= 24; shift += 8)
        bytes.insert(bytes.begin(), static_cast<char>(word >> shift & 0xff));
    return hexof(bytes);
}

inline std::string message(std::string_view header, std::string_view attributes)
{
    return squeezed(header) + sized(0, attributes);
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
        for (int i = 0; i < patience / 10 && connect(fd, target, sizeof(address)) != 0; i++)
            usleep(10000);
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
    void send(std::string_view hex) const
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
    std::string ask(std::string_view hex) const
    {
        send(hex);
        return receive();
    }

    int fd;
    std::string id;

private:
    std::string take(std::size_t size) const
    {
        std::string bytes(size, '\0');
        for (std::size_t got = 0; got < size;) {
            pollfd wait{fd, POLLIN, 0};
            if (poll(&wait, 1, patience) <= 0) return "silence";
            const ssize_t count = read(fd, &bytes[got], size - got);
            if (count <= 0) return "";
            got += static_cast<std::size_t>(count);
        }
        return hexof(bytes);
    }
};

struct bus_fixture : testing::Test {
    char folder[32] = "/tmp/bus_test_XXXXXX";
    std::string path;
    pid_t broker = -1;

    void SetUp() override
    {
        ASSERT_NE(mkdtemp(folder), nullptr);
        path = std::string(folder) + "/sock";
        broker = fork();
        if (broker == 0) {
            execl(BUS_PROGRAMS "/ubusd", "ubusd", "-s", path.c_str(), nullptr);
            _exit(127);
        }
        const wire ready(path);
        ASSERT_GE(std::stoul(ready.id, nullptr, 16), 1024U);
    }
    void TearDown() override
    {
        if (broker > 0) {
            EXPECT_EQ(stop(broker, SIGTERM), 0);
            EXPECT_NE(access(path.c_str(), F_OK), 0) << "the socket file is still there";
        }
        unlink(path.c_str());
        rmdir(folder);
    }
    // The wait status, 0 for exit code 0.
    static int stop(pid_t pid, int signo)
    {
        int status = -1;
        kill(pid, signo);
        waitpid(pid, &status, 0);
        return status;
    }
};
