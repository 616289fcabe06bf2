// SPDX-License-Identifier: ISC
// The worker's loop over the command pipe.
#include "core/life/worker.h"

#include <cerrno>
#include <cstring>
#include <sys/prctl.h>
#include <syslog.h>
#include <unistd.h>

#include "at/ussd.h"
#include "config/init.h"
#include "core/record/command.h"
#include "core/record/descriptor.h"
#include "core/record/flags.h"
#include "core/record/pause.h"
#include "core/record/state.h"
#include "core/record/text.h"

namespace
{

constexpr unsigned initpause = 1000;  // ms; the modem gets a breath before it is set up again

void *const orderly = nullptr;
// NOLINTNEXTLINE(performance-no-int-to-ptr): a thread's result is a pointer by its interface.
void *const failed = reinterpret_cast<void *>(-1);

// Publishes the outcome of an initialisation to the poll. The flag goes last: it hands over all
// that the run wrote.
void modem_finishinit(modem_state *pmod, std::uint32_t counter)
{
    pmod->reinitcounter = counter;
    modem_settext(pmod->working.info.kelvantorium.reinit_counter, "%u", counter);
    modem_setflag(pmod->isinitpending, 0);
}

// One command. False when the worker is to end.
bool modem_runcommand(modem_state *pmod, std::uint32_t command)
{
    switch (command) {
        case modemcmdStop:
            syslog(LOG_INFO, "modem_task: got modemcmdStop");
            return false;
        case modemcmdInit:
            modem_pause(initpause);
            syslog(LOG_INFO, "modem_task: got modemcmdInit");
            (void)modem_init(pmod);  // its outcome is in the working copy
            modem_finishinit(pmod, pmod->reinitcounter + 1);
            return true;
        case modemcmdUssdAnswer:
            syslog(LOG_INFO, "modem_task: got modemcmdUssdAnswer");
            (void)modem_getussdanswer(pmod);  // likewise
            // Once ready is seen the next request may come, and set pending again.
            modem_setflag(pmod->isussdpending, 0);
            modem_setflag(pmod->isussdready, 1);
            return true;
        default:
            syslog(LOG_WARNING, "modem_task: got unsupported cmd=%d", static_cast<int>(command));
            return true;
    }
}

// Waits for the next command and runs it. False when the worker is to end.
bool modem_servecommand(modem_state *pmod)
{
    if (poll(&pmod->pollcmd, 1, -1) < 0) {
        const bool again = errno == EINTR;
        syslog(again ? LOG_WARNING : LOG_EMERG, "modem_task: poll() done error=%s",
               std::strerror(errno));
        return again;
    }
    if ((pmod->pollcmd.revents & POLLIN) == 0) {
        // The write end is our own, so the pipe cannot hang up; should it, this must not spin.
        return (pmod->pollcmd.revents & (POLLHUP | POLLERR | POLLNVAL)) == 0;
    }
    std::uint32_t command = 0;
    const ssize_t nbytes = read(pmod->fdcmd[0], &command, sizeof(command));
    if (nbytes < 0) {
        syslog(LOG_EMERG, "modem_task: read(pmod->fdcmd) done error=%s", std::strerror(errno));
        return false;
    }
    if (nbytes < static_cast<ssize_t>(sizeof(command))) {
        syslog(LOG_WARNING, "modem_task: read(pmod->fdcmd) nbytes(%d) != %ld",
               static_cast<int>(nbytes), static_cast<long>(sizeof(command)));
        return true;
    }
    return modem_runcommand(pmod, command);
}

bool modem_openpipe(modem_state *pmod)
{
    int fds[2];
    if (pipe(fds) != 0) {
        syslog(LOG_EMERG, "modem_task: pipe(fdcmd) done error = %s", std::strerror(errno));
        return false;
    }
    pmod->fdcmd[0] = fds[0];
    pmod->fdcmd[1] = fds[1];
    pmod->pollcmd = {fds[0], POLLIN, 0};
    return true;
}

}  // namespace

void *modem_task(void *record)
{
    modem_state *pmod = static_cast<modem_state *>(record);
    (void)prctl(PR_SET_NAME, "modem_task");
    syslog(LOG_INFO, "modem_task: start");
    if (!modem_openpipe(pmod)) {
        modem_setflag(pmod->istaskalive, 0);
        return failed;
    }
    (void)modem_init(pmod);
    modem_finishinit(pmod, 0);  // the first run does not count
    while (modem_servecommand(pmod)) {
    }
    modem_closefd(pmod->fdcmd[0]);
    modem_closefd(pmod->fdcmd[1]);
    pmod->taskid = static_cast<pthread_t>(-1);
    modem_setflag(pmod->istaskalive, 0);
    syslog(LOG_INFO, "modem_task: done ok");
    return orderly;
}
