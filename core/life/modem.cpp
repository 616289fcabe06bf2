// SPDX-License-Identifier: ISC
// Start-up, event loop and shutdown, in their fixed order.
#include "core/life/modem.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/timerfd.h>
#include <syslog.h>
#include <unistd.h>

#include <libubus.h>

#include "at/commands.h"
#include "at/sendat.h"
#include "bus/object.h"
#include "bus/request.h"
#include "config/settings.h"
#include "core/life/signals.h"
#include "core/life/thread.h"
#include "core/life/worker.h"
#include "core/record/command.h"
#include "core/record/descriptor.h"
#include "core/record/flags.h"
#include "core/record/paths.h"
#include "core/record/pause.h"
#include "core/record/pmod.h"
#include "core/record/text.h"
#include "core/record/trace.h"
#include "core/record/transition.h"
#include "indicators/leds.h"
#include "monitor/link.h"
#include "monitor/poll.h"
#include "sms/list.h"

namespace
{

constexpr std::uint8_t loopprio = 70;
constexpr std::uint8_t workerprio = 69;  // below the loop: a bus request preempts the worker
constexpr unsigned idlepause = 20;       // ms per look whether the worker is idle

uloop_timeout polltimer{};

bool modem_createtimer(int &fd, pollfd &entry, const char *name)
{
    fd = timerfd_create(CLOCK_MONOTONIC, 0);
    if (fd == -1) {
        syslog(LOG_EMERG, "modem: timerfd_create(%s) done error=%s", name, std::strerror(errno));
        return false;
    }
    entry = {fd, POLLIN, 0};
    return true;
}

modem_state *modem_allocate()
{
    modem_state *record = static_cast<modem_state *>(std::calloc(1, sizeof(modem_state)));
    if (record == nullptr) {
        syslog(LOG_EMERG, "modem: calloc() done error");
        return nullptr;
    }
    record->fdcmd[0] = record->fdcmd[1] = -1;
    record->fdcom = record->fdcom2 = -1;
    record->fdtimerat = record->fdtimerat2 = -1;
    record->taskid = static_cast<pthread_t>(-1);
    return record;
}

// Gives back what the start had before it failed.
int modem_abandon()
{
    modem_closefd(pmod->fdtimerat);
    modem_closefd(pmod->fdtimerat2);
    std::free(pmod);
    pmod = nullptr;
    return -1;
}

// A broker that goes away ends the daemon in order: without the bus it serves nobody.
void modem_endwithoutbus(ubus_context *)
{
    uloop_end();
}

bool modem_connectbus()
{
    (void)uloop_init();  // the connection below repeats it and fails when it does
    pmod->ubusctx = ubus_connect(modem_buspath);
    if (pmod->ubusctx == nullptr) return false;
    pmod->ubusctx->connection_lost = modem_endwithoutbus;
    return true;
}

// The first status that clients see: the settings, the start-up words and the stored counter.
void modem_publishstart()
{
    pmod->published.settings = pmod->working.settings;
    modem_info &info = pmod->working.info;
    modem_copytext(info.kelvantorium.prevstate, "init");
    modem_copytext(info.kelvantorium.state, "init");
    modem_copytext(info.kelvantorium.error, "none");
    modem_copytext(info.kelvantorium.reason, "none");
    modem_settext(info.kelvantorium.reinit_counter, "%u", pmod->reinitcounter);
    modem_settext(info.sms.recv_counter, "%u", static_cast<unsigned>(pmod->sms_list.numsms));
    pmod->published.info = info;
}

void modem_onpoll(uloop_timeout *timeout)
{
    modem_beginchanges(pmod);
    modem_poll(timeout);
    modem_tellchanges(pmod);
}

void modem_startworker()
{
    common_attr attributes = {};
    (void)common_setattr("modem", &attributes);
    (void)common_setpriority(pthread_self(), loopprio);
    modem_setflag(pmod->istaskalive, 1);
    modem_blockstops();  // they are the event loop's
    const int error = pthread_create(&pmod->taskid, &attributes.attr, modem_task, pmod);
    modem_allowstops();
    if (error == 0) {
        pmod->taskprio = workerprio;
        (void)common_setpriority(pmod->taskid, pmod->taskprio);
    } else {
        syslog(LOG_EMERG, "modem: pthread_create() done error=%s", std::strerror(error));
        pmod->taskid = static_cast<pthread_t>(-1);
        modem_setflag(pmod->istaskalive, 0);
    }
    (void)common_clearattr("modem", &attributes);
}

// The indicators and the radio need the AT port for themselves: the last word must be the last.
void modem_awaitworker()
{
    while (modem_getflag(pmod->istaskalive) != 0 &&
           (modem_getflag(pmod->isinitpending) != 0 || modem_getflag(pmod->isussdpending) != 0)) {
        modem_pause(idlepause);
    }
}

void modem_shutdown()
{
    modem_ltedown(pmod);
    modem_setflag(pmod->isltedown, 1);
    ubus_free(pmod->ubusctx);
    modem_unwatchtraceswitch();
    uloop_done();
    modem_setflag(pmod->isstopping, 1);
    modem_awaitworker();
    (void)modem_applyledlevel(pmod, nullptr, 0, "init");
    (void)modem_applyslotled(pmod, nullptr, "0000", "init");
    if (pmod->working.settings.modem.gnss.enabled != 0)
        (void)modem_applygnssled(pmod, nullptr, 0, "init");
    (void)modem_sendat(pmod, modem_lowpower, modem_atok, modem_attimeout, 1);
    (void)modemfree(pmod);
}

}  // namespace

int modem()
{
    syslog(LOG_INFO, "modem start");
    pmod = modem_allocate();
    if (pmod == nullptr) return -1;
    if (!modem_createtimer(pmod->fdtimerat, pmod->pollat[1], "fdtimerat")) return modem_abandon();
    if (!modem_createtimer(pmod->fdtimerat2, pmod->pollussd[1], "fdtimerat2"))
        return modem_abandon();
    if (!modem_connectbus()) {
        (void)modem_abandon();
        syslog(LOG_EMERG, "modem: ubus_connect() done error");
        return -1;
    }
    (void)modem_preparereply();
    modem_settracing(modem_istracewanted());
    (void)modem_loadlistsms(pmod);    // without a file the list stays empty
    (void)modem_read_settings(pmod);  // without a configuration the defaults stay
    modem_publishstart();
    modem_ltedown(pmod);
    modem_setflag(pmod->isltedown, 1);
    modem_setflag(pmod->isstatuscopied, 0);
    modem_setflag(pmod->isinitpending, 1);
    modem_startworker();
    (void)uloop_fd_add(&pmod->ubusctx->sock, ULOOP_READ | ULOOP_BLOCKING);
    (void)modem_addobject(pmod->ubusctx);
    polltimer.cb = modem_onpoll;
    (void)uloop_timeout_set(&polltimer, modem_pollinterval);
    modem_watchtraceswitch();
    modem_runloop();
    modem_shutdown();
    syslog(LOG_INFO, "modem done ok");
    return 0;
}

int modemfree(modem_state *record)
{
    syslog(LOG_INFO, "modemfree start");
    if (record == nullptr) {
        syslog(LOG_ERR, "modemfree: pmod is NULL");
        return -1;
    }
    const pthread_t task = record->taskid;  // the worker resets it when it ends
    if (modem_sendcommand(record, modemcmdStop) != 0) {
        syslog(LOG_ERR, "modemfree: write(modemcmdStop) done error=%s", std::strerror(errno));
        return -1;
    }
    if (task != static_cast<pthread_t>(-1)) (void)pthread_join(task, nullptr);
    modem_closefd(record->fdtimerat2);
    modem_closefd(record->fdtimerat);
    modem_closefd(record->fdcom2);
    modem_closefd(record->fdcom);
    std::free(record);
    syslog(LOG_INFO, "modemfree done ok");
    return 0;
}
