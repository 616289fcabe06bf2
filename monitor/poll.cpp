// SPDX-License-Identifier: ISC
// The poll: gate, publication, and the list of steps that the state allows.
#include "monitor/poll.h"

#include <span>

#include <libubus.h>

#include "core/record/flags.h"
#include "core/record/pmod.h"
#include "core/record/text.h"
#include "monitor/steps.h"

namespace
{

constexpr modem_pollstep operational[] = {
    modem_pollussd,  modem_pollslots,    modem_pollsim, modem_pollgnss,    modem_polloperator,
    modem_pollradio, modem_pollcapacity, modem_pollsms, modem_pollcounter,
};
constexpr modem_pollstep simless[] = {modem_pollslots, modem_pollgnss};

// Errors of the card: the rest of the modem is fine, so slots and GNSS stay watched.
constexpr const char *simerrors[] = {"sim_removed", "sim_crash", "sim_locked"};

bool modem_issimerror(const modem_info &info)
{
    for (const char *error : simerrors) {
        if (modem_isword(info.kelvantorium.error, error)) return true;
    }
    return false;
}

// Messages may have been cleared or loaded since the worker's copy was made; the list itself tells.
void modem_publish()
{
    modem_settext(pmod->working.info.sms.recv_counter, "%u",
                  static_cast<unsigned>(pmod->sms_list.numsms));
    pmod->published.settings = pmod->working.settings;
    pmod->published.info = pmod->working.info;
    modem_setflag(pmod->isstatuscopied, 1);
}

void modem_runpass()
{
    if (modem_getflag(pmod->isinitpending) != 0) return;
    if (modem_getflag(pmod->isstatuscopied) == 0) modem_publish();
    const modem_info &info = pmod->published.info;
    const bool issimerror = modem_issimerror(info);
    if (modem_isword(info.kelvantorium.state, "error") && !issimerror) return;
    const bool issimless = modem_isword(info.kelvantorium.state, "nosim") || issimerror;
    const std::span<const modem_pollstep> steps =
        issimless ? std::span<const modem_pollstep>(simless) : operational;
    modem_pass pass = {};
    modem_copytext(pass.stateword, issimless ? info.kelvantorium.state : "op");
    for (const modem_pollstep step : steps) {
        if (step(pmod, pass) != 0) return;
    }
}

}  // namespace

void modem_poll(uloop_timeout *timeout)
{
    modem_runpass();
    (void)uloop_timeout_set(timeout, modem_pollinterval);
}
