// SPDX-License-Identifier: ISC
/*
 * Bus broker: start and end.
 */
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <sys/signalfd.h>
#include <syslog.h>
#include <ubus_common.h>
#include <unistd.h>

#include "ubusd.h"

static const char *access_folder = "/usr/share/acl.d";

static int usage(const char *program)
{
    fprintf(stderr,
            "Usage: %s [<options>]\n"
            "Options:\n"
            "  -A <path>:\tThe path to ACL files\n"
            "  -s <socket>:\tThe unix domain socket to listen on\n",
            program);
    return 1;
}

static void on_hangup(struct uloop_fd *sock, unsigned int events)
{
    struct signalfd_siginfo info;
    (void)events;
    if (read(sock->fd, &info, sizeof(info)) == (ssize_t)sizeof(info))
        ubusd_access_load(access_folder);
}

/* SIGHUP reads the access files anew. It never interrupts anything: it comes in through the loop.
 */
static int watch_hangup(void)
{
    static struct uloop_fd watch = {.cb = on_hangup};
    sigset_t hangup;
    sigemptyset(&hangup);
    sigaddset(&hangup, SIGHUP);
    sigprocmask(SIG_BLOCK, &hangup, NULL);
    watch.fd = signalfd(-1, &hangup, SFD_CLOEXEC | SFD_NONBLOCK);
    return watch.fd < 0 ? -1 : uloop_fd_add(&watch, ULOOP_READ);
}

int main(int argc, char **argv)
{
    const char *path = UBUS_UNIX_SOCKET;
    int option;
    while ((option = getopt(argc, argv, "A:s:")) != -1) {
        switch (option) {
            case 'A':
                access_folder = optarg;
                break;
            case 's':
                path = optarg;
                break;
            default:
                return usage(argv[0]);
        }
    }

    openlog("ubusd", 0, LOG_DAEMON);
    if (uloop_init() != 0 || watch_hangup() != 0) {
        perror("event loop");
        return 255;
    }
    ubusd_access_load(access_folder);
    if (ubusd_listen(path) != 0) {
        perror(path);
        return 255;
    }
    uloop_run();
    unlink(path);
    return 0;
}
