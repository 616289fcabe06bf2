// SPDX-License-Identifier: ISC
// Signals of the process.
#include "core/life/signals.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <initializer_list>
#include <sys/signalfd.h>
#include <syslog.h>
#include <unistd.h>

#include <libubus.h>

#include "core/record/trace.h"

namespace
{

void modem_changemask(int how, std::initializer_list<int> signals)
{
    sigset_t set;
    (void)sigemptyset(&set);
    for (const int signal : signals)
        (void)sigaddset(&set, signal);
    (void)pthread_sigmask(how, &set, nullptr);
}

void modem_switchtraces(uloop_fd *watch, unsigned)
{
    signalfd_siginfo info;
    while (read(watch->fd, &info, sizeof(info)) == static_cast<ssize_t>(sizeof(info))) {
        modem_settracing(!modem_istracing());
        syslog(LOG_INFO, "modem_switchtraces: traces %s", modem_istracing() ? "on" : "off");
    }
}

uloop_fd traceswitch{};
uloop_timeout firstturn{};

}  // namespace

void modem_holdsignals()
{
    modem_changemask(SIG_BLOCK, {SIGUSR1, SIGPIPE});
}

void modem_blockstops()
{
    modem_changemask(SIG_BLOCK, {SIGINT, SIGTERM});
}

void modem_allowstops()
{
    modem_changemask(SIG_UNBLOCK, {SIGINT, SIGTERM});
}

void modem_runloop()
{
    // The loop forgets at its beginning that it was to end: a signal between this look and its
    // first turn has to wait for that turn.
    modem_blockstops();
    if (!uloop_cancelled) {
        firstturn.cb = [](uloop_timeout *) { modem_allowstops(); };
        (void)uloop_timeout_set(&firstturn, 0);
        (void)uloop_run();
    }
    modem_allowstops();
}

void modem_watchtraceswitch()
{
    sigset_t set;
    (void)sigemptyset(&set);
    (void)sigaddset(&set, SIGUSR1);
    traceswitch.fd = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    if (traceswitch.fd == -1) {
        syslog(LOG_ERR, "modem: signalfd() done error=%s", std::strerror(errno));
        return;
    }
    traceswitch.cb = modem_switchtraces;
    (void)uloop_fd_add(&traceswitch, ULOOP_READ);
}

void modem_unwatchtraceswitch()
{
    if (traceswitch.fd == -1) return;
    (void)uloop_fd_delete(&traceswitch);
    (void)close(traceswitch.fd);
    traceswitch.fd = -1;
}
