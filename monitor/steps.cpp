// SPDX-License-Identifier: ISC
// The steps of a poll pass.
#include "monitor/steps.h"

#include "at/commands.h"
#include "at/sendat.h"
#include "core/record/flags.h"
#include "core/record/text.h"
#include "core/record/transition.h"
#include "indicators/leds.h"
#include "indicators/slots.h"
#include "monitor/defaults.h"
#include "monitor/gnss.h"
#include "monitor/link.h"
#include "monitor/signal.h"
#include "sms/receive.h"
#include "sms/storage.h"

namespace
{

constexpr int endpass = 1;

int modem_endifsilent(int result)
{
    return modem_issilent(result) ? endpass : 0;
}

// Sends one of the poll's own commands. Silence is recorded, an error reply is the caller's.
int modem_pollask(modem_state *pmod, modem_pass &pass, const char *command, const char *purpose)
{
    const int result = modem_sendat(pmod, command, modem_atok, modem_attimeout, 1);
    if (modem_issilent(result)) {
        modem_settransition(&pmod->published.info, {.prevstate = pass.stateword},
                            "%s: %s: didn't get answer OK", purpose, command);
    }
    return result;
}

void modem_droplink(modem_state *pmod)
{
    if (!modem_isword(pmod->published.info.network.state, "connected")) return;
    modem_ltedown(pmod);
    modem_setflag(pmod->isltedown, 1);
}

// The network is lost: link down, default words, signal bar dark. The result of the last.
int modem_dropnetwork(modem_state *pmod)
{
    modem_droplink(pmod);
    (void)modem_setnetworkdefaults(pmod->published);
    return modem_setledlevel(pmod, 0);
}

int modem_endwithoutnetwork(modem_state *pmod)
{
    (void)modem_dropnetwork(pmod);
    return endpass;
}

// Not registered: automatic selection is ordered anew before the words say so.
int modem_pollunregistered(modem_state *pmod, modem_pass &pass)
{
    modem_droplink(pmod);
    if (modem_issilent(modem_pollask(pmod, pass, modem_copsauto, modem_copsautopurpose)))
        return endpass;
    (void)modem_setnetworkdefaults(pmod->published);
    (void)modem_setledlevel(pmod, 0);
    return endpass;
}

}  // namespace

int modem_pollussd(modem_state *pmod, modem_pass &)
{
    if (modem_getflag(pmod->isussdready) == 0 || modem_getflag(pmod->isussdcopied) != 0) return 0;
    pmod->published.info.ussd = pmod->working.info.ussd;
    modem_setflag(pmod->isussdready, 0);
    modem_setflag(pmod->isussdcopied, 1);
    return 0;
}

int modem_pollslots(modem_state *pmod, modem_pass &pass)
{
    const int slotmask = modem_getslotstate(pmod, &pmod->published.info, pass.stateword);
    if (slotmask < 0) return endpass;
    return modem_endifsilent(modem_setslotled(pmod, slotmask, pass.stateword, 0));
}

int modem_pollsim(modem_state *pmod, modem_pass &)
{
    modem_info &info = pmod->published.info;
    const bool one = modem_isword(pmod->published.settings.modem.slot, "1");
    if (!modem_isword(one ? info.modem.slot1_state : info.modem.slot2_state, "empty")) return 0;
    if (modem_issilent(modem_dropnetwork(pmod))) return endpass;
    modem_settransition(&info, {.prevstate = "op", .error = "sim_removed"},
                        "get info.modem.slot%c_state: empty", one ? '1' : '2');
    return endpass;
}

int modem_pollgnss(modem_state *pmod, modem_pass &pass)
{
    if (!modem_isword(pmod->published.settings.modem.gnss.power, "on")) return 0;
    if (modem_issilent(modem_pollask(pmod, pass, "AT+CGNSSINFO", "get info.gnss"))) return endpass;
    const int fix = modem_parsegnssinfo(pmod->published, modem_getreply(pmod));
    return modem_endifsilent(modem_setgnssled(pmod, fix, pass.stateword, 0));
}

int modem_polloperator(modem_state *pmod, modem_pass &pass)
{
    const int result = modem_pollask(pmod, pass, "AT+COPS?", "get info.gnss");  // sic
    if (modem_issilent(result)) return endpass;
    if (result == modematError) return modem_endwithoutnetwork(pmod);
    if (!modem_isregistered(modem_getreply(pmod))) return modem_pollunregistered(pmod, pass);
    const auto &network = pmod->published.info.network;
    if (modem_isword(network.state, "disconnected")) modem_checklink(pmod);
    if (modem_isword(network.state, "disconnected")) return endpass;
    modem_parseprovider(pmod->published, modem_getreply(pmod));
    return 0;
}

int modem_pollradio(modem_state *pmod, modem_pass &pass)
{
    const int result = modem_pollask(pmod, pass, "AT+CPSI?", "get info.network.state");
    if (modem_issilent(result)) return endpass;
    if (result == modematError) return modem_endwithoutnetwork(pmod);
    if (modem_parsesysinfo(pmod->published, modem_getreply(pmod)) == 0)
        return modem_endwithoutnetwork(pmod);
    const unsigned level = modem_levelindex(pmod->published.info.network.level);
    return modem_endifsilent(modem_setledlevel(pmod, static_cast<int>(level)));
}

int modem_pollcapacity(modem_state *pmod, modem_pass &pass)
{
    const int result = modem_pollask(pmod, pass, "AT+CPMS?", "get maxcntrecvsms");
    if (result != modematOk) return endpass;
    pass.capacity = modem_readcapacity(modem_getreply(pmod));
    return 0;
}

int modem_pollsms(modem_state *pmod, modem_pass &pass)
{
    for (int index = 1; index <= static_cast<int>(pass.capacity); index++) {
        const char *failed = nullptr;
        const int result = modem_readsms(pmod, index, modem_attimeout);
        if (modem_issilent(result)) {
            failed = "modem_readsms() done error";
        } else if (result == modematOk &&
                   modem_issilent(modem_delsms(pmod, index, modem_attimeout))) {
            failed = "modem_delsms() done error";
        }
        if (failed == nullptr) continue;
        modem_settransition(&pmod->published.info, {.prevstate = pass.stateword}, "%s", failed);
        return endpass;
    }
    return 0;
}

int modem_pollcounter(modem_state *pmod, modem_pass &)
{
    modem_settext(pmod->published.info.sms.recv_counter, "%u",
                  static_cast<unsigned>(pmod->sms_list.numsms));
    return 0;
}
