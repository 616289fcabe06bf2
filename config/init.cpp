// SPDX-License-Identifier: ISC
// The initialisation: preparation, the script as a table, and the engine that runs it.
#include "config/init.h"

#include <syslog.h>

#include "at/ask.h"
#include "at/commands.h"
#include "at/port.h"
#include "at/sendat.h"
#include "config/initsteps.h"
#include "config/replies.h"
#include "config/settings.h"
#include "core/record/flags.h"
#include "core/record/pause.h"
#include "core/record/text.h"
#include "core/record/transition.h"

namespace
{

// One step of the script. Each is tried once; the first that fails ends the run with its reason.
struct modem_initstep {
    bool (*when)(const modem_settings &) = nullptr;  // null: always
    const char *command = nullptr;                   // null when `run` does the step
    const char *purpose = nullptr;                   // first half of the failure reason
    const char *shown = nullptr;                     // the command as the reason spells it
    int (*run)(modem_state *pmod) = nullptr;         // 0 go on, 1 ended in "nosim", -1 failed
    modem_field (*into)(modem_status &) = nullptr;   // where the word of the reply goes
    const char *after = nullptr;                     // marker before that word; null: first word
    unsigned pause = 0;                              // seconds after success
};

bool modem_hasrs485(const modem_settings &s)
{
    return s.modem.rs485.enabled != 0;
}

bool modem_hasgnss(const modem_settings &s)
{
    return s.modem.gnss.enabled != 0;
}

bool modem_isgnssoff(const modem_settings &s)
{
    return modem_isword(s.modem.gnss.power, "off");
}

bool modem_isgnsson(const modem_settings &s)
{
    return !modem_isgnssoff(s);
}

bool modem_isauto(const modem_settings &s)
{
    return modem_isword(s.modem.network.type, "auto");
}

bool modem_is2g(const modem_settings &s)
{
    return modem_isword(s.modem.network.type, "2g");
}

bool modem_is3g(const modem_settings &s)
{
    return modem_isword(s.modem.network.type, "3g");
}

bool modem_is4g(const modem_settings &s)
{
    return !modem_isauto(s) && !modem_is2g(s) && !modem_is3g(s);
}

bool modem_isprivate(const modem_settings &s)
{
    return modem_isword(s.modem.network.iparea, "private");
}

bool modem_ispublic(const modem_settings &s)
{
    return !modem_isprivate(s);
}

// The misspellings below are the system's own and known to its clients.
constexpr modem_initstep initscript[] = {
    {.command = "ATV1", .purpose = "set answer OK"},
    {.command = "ATE0", .purpose = "set disable echo"},
    {.command = "AT+CATR=2", .purpose = "set sending URC-event"},
    {.command = "AT+CMEE=2", .purpose = "set answer +CME ERROR"},
    {.command = "at*imscfg=\"switch\",off", .purpose = "set disabled dualsim"},
    {.command = modem_lowpower, .purpose = "set low power mode"},
    {.command = "AT+CGMM", .purpose = "get info.modem.model", .into = FIELD(info.modem.model)},
    {.command = "AT+CGMR",
     .purpose = "get info.modem.firmware",
     .into = FIELD(info.modem.firmware),
     .after = "+CGMR:"},
    {.command = "AT+CGSN", .purpose = "get info.modem.imei", .into = FIELD(info.modem.imei)},
    {.when = modem_hasrs485, .run = modem_initrs485},
    {.when = modem_hasgnss, .run = modem_initgnssled},
    {.when = modem_isgnsson,
     .command = "AT+CGNSSPWR=1",
     .purpose = "set on settings.modem.gnss.power"},
    {.when = modem_isgnsson, .run = modem_initgnssmode},
    {.when = modem_isgnssoff,
     .command = "AT+CGNSSPWR=0",
     .purpose = "set off settings.modem.gnss.power"},
    {.command = "AT+CVAUXS=1", .purpose = "set enbaled out pin VDD_AUX"},  // sic
    {.run = modem_initslotswitch},
    {.run = modem_initslotleds},
    {.run = modem_initlevelleds},
    {.run = modem_initslotstate},
    {.run = modem_initcard},
    {.command = "AT+CSCS=\"UCS2\"",
     .purpose = "set UCS2 data coding scheme",
     .shown = "AT+CSCS=UCS2"},
    {.command = "AT+CMGF=0", .purpose = "set PDU mode"},
    {.command = "AT+CLIP=0", .purpose = "set disabled phone number autodetector"},
    {.command = "AT+CNMI=0", .purpose = "set disabled sending URC-event +CMTI"},
    // The card is not ready to tell its lock state earlier.
    {.command = "AT+CFUN=4",
     .purpose = "set disable phone transmit and receive RF circuits",
     .pause = 5},
    {.run = modem_initsimlock},
    {.command = "AT+CIMI", .purpose = "get info.sim.imsi", .into = FIELD(info.sim.imsi)},
    {.command = "AT+CICCID",
     .purpose = "get info.sim.iccid",
     .into = FIELD(info.sim.iccid),
     .after = "+ICCID:"},
    {.command = "AT+CPMS=\"SM\",\"SM\",\"SM\"",
     .purpose = "set SIM sms-storage",
     .shown = "AT+CPMS=SM,SM,SM"},
    {.run = modem_initlongsms},
    {.command = "AT+CMGD=1,4", .purpose = "delete all sms from sim-storage"},
    {.run = modem_initclearcontexts},
    {.run = modem_initcontext},
    {.command = "AT+CGAUTH=1,0", .purpose = "set type auth for PDP-IP connection of GPRS "},  // sic
    {.when = modem_isauto,
     .command = "AT+CNMP=2",
     .purpose = "set auto (GSM or WCDMA or LTE) settings.modem.network.type"},
    {.when = modem_is2g,
     .command = "AT+CNMP=13",
     .purpose = "set 2g (GSM Only) settings.modem.network.type"},
    {.when = modem_is3g,
     .command = "AT+CNMP=14",
     .purpose = "set 3g (WCDMA Only) settings.modem.network.type"},
    {.when = modem_is4g,
     .command = "AT+CNMP=38",
     .purpose = "set 4g (LTE Only) settings.modem.network.type"},
    {.command = modem_copsauto, .purpose = modem_copsautopurpose},
    {.when = modem_isprivate,
     .command = "AT+USBNETIP=0,10,117",
     .purpose = "set usb privite ip"},  // sic
    {.when = modem_ispublic, .command = "AT+USBNETIP=1", .purpose = "set usb public ip"},
    {.command = "AT+DIALMODE=0", .purpose = "set enabled USBNET network"},
    // Registration starts here; asked at once the modem would report nothing yet.
    {.command = "AT+CFUN=1", .purpose = "set high power mode", .pause = 5},
};

// With null checks on, g++ takes no function's address for a constant.
#ifndef KELVANTORIUM_NULL_CHECKED
// A row is a command with its purpose, or a step.
constexpr bool modem_iscomplete()
{
    for (const modem_initstep &step : initscript) {
        if ((step.command != nullptr) == (step.run != nullptr)) return false;
        if ((step.command != nullptr) != (step.purpose != nullptr)) return false;
    }
    return true;
}

static_assert(modem_iscomplete(), "every row of the script does one thing");
#endif

int modem_initcommand(modem_state *pmod, const modem_initstep &step)
{
    if (modem_ask(pmod, &pmod->working.info, "init", step.command, step.purpose, step.shown) !=
        modematOk)
        return -1;
    if (step.into != nullptr) {
        const std::string_view word = modem_readword(modem_getreply(pmod), step.after);
        if (!word.empty()) modem_copytext(step.into(pmod->working), word);
    }
    if (step.pause != 0) modem_pause(step.pause * 1000);
    return 0;
}

void modem_logsettings(const modem_settings &settings)
{
    const auto &modem = settings.modem;
    syslog(LOG_INFO, "init: settings.modem.slot: %s", modem.slot);
    syslog(LOG_INFO, "init: settings.modem.rs485.enabled: %d", modem.rs485.enabled);
    syslog(LOG_INFO, "init: settings.modem.rs485.pull: %s", modem.rs485.pull);
    syslog(LOG_INFO, "init: settings.modem.gnss.enabled: %d", modem.gnss.enabled);
    syslog(LOG_INFO, "init: settings.modem.gnss.power: %s", modem.gnss.power);
    syslog(LOG_INFO, "init: settings.modem.gnss.mode: %s", modem.gnss.mode);
    syslog(LOG_INFO, "init: settings.modem.network.type: %s", modem.network.type);
    syslog(LOG_INFO, "init: settings.modem.network.iptype: %s", modem.network.iptype);
    syslog(LOG_INFO, "init: settings.modem.network.iparea: %s", modem.network.iparea);
    syslog(LOG_INFO, "init: settings.modem.network.apn: %s", modem.network.apn);
}

}  // namespace

int modem_init(modem_state *pmod)
{
    modem_info &info = pmod->working.info;
    pmod->lastledgnss = pmod->lastledslot = pmod->lastledlevel = -1;
    modem_setflag(pmod->isussdready, 0);
    modem_setflag(pmod->isussdcopied, 0);
    (void)modem_read_settings(pmod);
    modem_logsettings(pmod->working.settings);
    if (modem_comport_connect(pmod) != 0) {
        modem_settransition(&info, {.prevstate = "init"}, "modem_comport_connect() done error");
        return -1;
    }
    for (const modem_initstep &step : initscript) {
        if (step.when != nullptr && !step.when(pmod->working.settings)) continue;
        const int result = step.run != nullptr ? step.run(pmod) : modem_initcommand(pmod, step);
        if (result != 0) return result;
    }
    modem_settransition(&info,
                        {.prevstate = "init", .state = "op", .error = "none", .priority = LOG_INFO},
                        "init done ok");
    return 0;
}
