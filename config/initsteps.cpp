// SPDX-License-Identifier: ISC
// Composite steps of the initialisation.
#include "config/initsteps.h"

#include <cstring>

#include "at/ask.h"
#include "at/sendat.h"
#include "config/replies.h"
#include "core/record/flags.h"
#include "core/record/pause.h"
#include "core/record/text.h"
#include "core/record/transition.h"
#include "indicators/leds.h"
#include "indicators/slots.h"

namespace
{

constexpr char init[] = "init";
constexpr unsigned gnsstriesmax = 60;
constexpr unsigned gnsspause = 1000;  // ms before each try
constexpr unsigned contextmax = 15;   // PDP contexts of the modem

struct modem_simlock {
    const char *code;
    const char *awaited;  // what the modem waits for
};

constexpr char simlockpurpose[] = "get lock status sim";
constexpr char simlockcommand[] = "AT+CPIN?";
constexpr unsigned simlockmax = 16;  // octets of a held code, NUL included

constexpr modem_simlock simlocks[] = {
    {"SIM PIN", "SIM PIN"},
    {"SIM PUK", "SIM PUK"},
    {"PH-SIM PIN", "phone-to-SIM card password"},
    {"SIM PIN2", "SIM PIN2"},
    {"SIM PUK2", "SIM PUK2"},
    {"PH-NET PIN", "network personalization password"},
};

// An indicator's result that ends the run: everything, or everything but an error reply.
int modem_unlessok(int result)
{
    return result == modematOk ? 0 : -1;
}

int modem_unlessanswered(int result)
{
    return modem_issilent(result) ? -1 : 0;
}

}  // namespace

int modem_initrs485(modem_state *pmod)
{
    modem_info *target = &pmod->working.info;
    if (modem_setoutrs485pull(pmod, target, init) != 0) return -1;
    const bool down = modem_isword(pmod->working.settings.modem.rs485.pull, "down");
    return modem_unlessok(modem_setrs485pull(pmod, target, down ? 1 : 0, init));
}

int modem_initgnssled(modem_state *pmod)
{
    if (modem_setoutgnssled(pmod, &pmod->working.info, init) != 0) return -1;
    return modem_unlessanswered(modem_setgnssled(pmod, 0, init, 1));
}

int modem_initgnssmode(modem_state *pmod)
{
    const char *mode = pmod->working.settings.modem.gnss.mode;
    char command[modem_commandmax];
    modem_settext(command, "AT+CGNSSMODE=%s", mode);
    for (unsigned tries = 0; tries < gnsstriesmax; tries++) {
        modem_pauseunless(pmod->isstopping, gnsspause);
        const int result = modem_sendat(pmod, command, modem_atok, modem_attimeout, 1);
        if (result == modematOk) return 0;
        if (result != modematError || modem_getflag(pmod->isstopping) != 0) break;
    }
    modem_settransition(&pmod->working.info, {.prevstate = init},
                        "set %s settings.modem.gnss.mode: %s: didn't get answer OK", mode, command);
    return -1;
}

int modem_initslotswitch(modem_state *pmod)
{
    modem_info *target = &pmod->working.info;
    if (modem_setoutslotswitch(pmod, target, init) != 0) return -1;
    const bool one = modem_isword(pmod->working.settings.modem.slot, "1");
    return modem_unlessok(modem_setslotswitch(pmod, target, one ? 0 : 1, init));
}

int modem_initslotleds(modem_state *pmod)
{
    modem_info *target = &pmod->working.info;
    if (modem_setoutslotleds(pmod, target, init) != 0) return -1;
    return modem_unlessok(modem_applyslotled(pmod, target, "0000", init));
}

int modem_initlevelleds(modem_state *pmod)
{
    modem_info *target = &pmod->working.info;
    if (modem_setoutlevelleds(pmod, target, init) != 0) return -1;
    return modem_unlessok(modem_applyledlevel(pmod, target, 0, init));
}

int modem_initslotstate(modem_state *pmod)
{
    const int slotmask = modem_getslotstate(pmod, &pmod->working.info, init);
    if (slotmask < 0) return -1;
    return modem_unlessanswered(modem_setslotled(pmod, slotmask, init, 1));
}

int modem_initcard(modem_state *pmod)
{
    modem_info &info = pmod->working.info;
    const bool one = modem_isword(pmod->working.settings.modem.slot, "1");
    if (!modem_isword(one ? info.modem.slot1_state : info.modem.slot2_state, "empty")) return 0;
    modem_settransition(
        &info, {.prevstate = init, .state = "nosim", .error = "none", .priority = LOG_INFO},
        "get info.modem.slot%c_state: empty", one ? '1' : '2');
    return 1;
}

int modem_initsimlock(modem_state *pmod)
{
    modem_info *target = &pmod->working.info;
    if (modem_ask(pmod, target, init, simlockcommand, simlockpurpose) != modematOk) return -1;
    char code[simlockmax];
    modem_copytext(code, modem_readsimlock(modem_getreply(pmod)));
    if (modem_isword(code, "READY")) return 0;
    for (const modem_simlock &lock : simlocks) {
        if (!modem_isword(code, lock.code)) continue;
        modem_settransition(target, {.prevstate = init, .error = "sim_locked"},
                            "%s: %s: modem is waiting %s to be given", simlockpurpose,
                            simlockcommand, lock.awaited);
        return -1;
    }
    modem_settransition(target, {.prevstate = init, .error = "sim_crash"},
                        "%s: %s: SIM initialization failed or SIM access encountered a serious "
                        "error",
                        simlockpurpose, simlockcommand);
    return -1;
}

int modem_initlongsms(modem_state *pmod)
{
    std::memset(pmod->longsms_table, 0, sizeof(pmod->longsms_table));
    return 0;
}

int modem_initclearcontexts(modem_state *pmod)
{
    for (unsigned context = 1; context <= contextmax; context++) {
        char command[modem_commandmax];
        modem_settext(command, "AT+CGDCONT=%u", context);
        if (modem_ask(pmod, &pmod->working.info, init, command, "delete PDP context") != modematOk)
            return -1;
    }
    return 0;
}

// The PDP type is "IP" for every IP type; the setting shows in the failure reason only.
int modem_initcontext(modem_state *pmod)
{
    const auto &network = pmod->working.settings.modem.network;
    char command[modem_commandmax];
    if (modem_isword(network.apn, "dynamic")) {
        modem_settext(command, "AT+CGDCONT=1,\"IP\"");
    } else {
        modem_settext(command, "AT+CGDCONT=1,\"IP\",\"%s\"", network.apn);
    }
    char purpose[64];
    modem_settext(purpose, "set %s settings.modem.network.iptype", network.iptype);
    return modem_unlessok(modem_ask(pmod, &pmod->working.info, init, command, purpose));
}
