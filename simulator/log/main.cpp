// SPDX-License-Identifier: ISC
// log-collector: the router's system log. Owns /dev/log and writes each message as one line
// "priority ident: text", e.g. "info kelvantorium: main: start".
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <signal.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

constexpr char socketpath[] = "/dev/log";
constexpr std::array<std::string_view, 8> priorities = {"emerg",   "alert",  "crit", "err",
                                                        "warning", "notice", "info", "debug"};
constexpr std::size_t datelength = 16;  // "Nov 22 22:19:19 "

// "<14>Nov 22 22:19:19 ident[123]: text": the C library's datagram. What does not look like that
// is kept as it is.
std::string logline(std::string_view datagram)
{
    std::size_t number = 0;
    std::size_t at = 1;
    while (at < datagram.size() && at < 5 && std::isdigit(static_cast<unsigned char>(datagram[at])))
        number = number * 10 + static_cast<std::size_t>(datagram[at++] - '0');
    if (datagram.empty() || datagram[0] != '<' || at >= datagram.size() || datagram[at] != '>')
        return "notice " + std::string(datagram);
    datagram.remove_prefix(at + 1);
    if (datagram.size() >= datelength && datagram[3] == ' ' && datagram[9] == ':')
        datagram.remove_prefix(datelength);
    std::string line(priorities[number & 7]);
    line += ' ';
    const std::size_t end = datagram.find(": ");
    const std::size_t process = datagram.find('[');
    if (end != std::string_view::npos && process < end) {
        line += datagram.substr(0, process);
        datagram.remove_prefix(end);
    }
    line += datagram;
    return line;
}

int listenforlogs()
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, socketpath, sizeof socketpath);
    (void)unlink(socketpath);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    if (bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) return -1;
    (void)chmod(socketpath, 0666);
    return fd;
}

bool writeline(int fd, const std::string &line)
{
    return write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size());
}

}  // namespace

// log-collector [FILE [also-stdout]]
int main(int argc, char **argv)
{
    const char *path = argc > 1 ? argv[1] : "/run/log/messages";
    (void)mkdir("/run/log", 0755);
    const int file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    const int log = file < 0 ? -1 : listenforlogs();
    if (log < 0) {
        std::perror("log-collector");
        return 1;
    }
    std::array<char, 65536> datagram = {};
    for (;;) {
        const ssize_t length = recv(log, datagram.data(), datagram.size(), 0);
        if (length < 0) continue;
        std::string text(datagram.data(), static_cast<std::size_t>(length));
        while (!text.empty() && (text.back() == '\n' || text.back() == '\0'))
            text.pop_back();
        std::string line = logline(text);
        for (char &character : line)
            if (character == '\n') character = ' ';
        line += '\n';
        if (!writeline(file, line) || (argc > 2 && !writeline(STDOUT_FILENO, line))) return 1;
    }
}
