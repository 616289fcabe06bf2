// SPDX-License-Identifier: ISC
/*
 * Bus broker: start and end.
 */
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <sys/stat.h>
#include <ubus_common.h>
#include <unistd.h>

#include "ubusd.h"

static int usage(const char *program)
{
    fprintf(stderr,
            "Usage: %s [<options>]\n"
            "Options:\n"
            "  -A <path>:\tThe path to ACL files (accepted, not used)\n"
            "  -s <socket>:\tThe unix domain socket to listen on\n",
            program);
    return 1;
}

int main(int argc, char **argv)
{
    const char *path = UBUS_UNIX_SOCKET;
    int option;
    while ((option = getopt(argc, argv, "A:s:")) != -1) {
        switch (option) {
            case 'A':
                break;
            case 's':
                path = optarg;
                break;
            default:
                return usage(argv[0]);
        }
    }

    signal(SIGHUP, SIG_IGN); /* would reload ACL files */
    if (uloop_init() != 0) {
        perror("event loop");
        return 255;
    }
    (void)mkdir("/var/run/ubus", 0755); /* the bind shows whether it matters */
    if (ubusd_listen(path) != 0) {
        perror(path);
        return 255;
    }
    uloop_run();
    unlink(path);
    return 0;
}
