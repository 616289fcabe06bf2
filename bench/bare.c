/* An AT exchange with nothing around it: the least that a program can do. */
#include "bench/bare.h"

#include <errno.h>
#include <poll.h>
#include <string.h>
#include <unistd.h>

int bare_exchange(int fd, const char *line)
{
    char reply[560];
    size_t length = 0;
    struct pollfd port = {fd, POLLIN, 0};

    if (write(fd, line, strlen(line)) < 0) return -1;
    while (length < 4 || memcmp(reply + length - 4, "OK\r\n", 4) != 0) {
        ssize_t count;

        if (poll(&port, 1, 5000) != 1) return -1;
        count = read(fd, reply + length, sizeof(reply) - length);
        if (count > 0)
            length += (size_t)count;
        else if (errno != EAGAIN)
            return -1;
    }
    return 0;
}
