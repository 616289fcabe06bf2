// SPDX-License-Identifier: ISC
// One table of default words and the three writers that filter it by group.
#include "monitor/defaults.h"

#include <string_view>

#include "core/record/text.h"
#include "monitor/signal.h"

namespace
{

enum class modem_group { gnss, network, rest };

struct modem_default {
    modem_group group;
    modem_field (*field)(modem_status &);
    std::string_view word;
};

// The six signal values are missing here: their numbers stand in modem_signal.
constexpr modem_default defaults[] = {
    {modem_group::rest, FIELD(info.modem.model), "none"},
    {modem_group::rest, FIELD(info.modem.firmware), "none"},
    {modem_group::rest, FIELD(info.modem.imei), "none"},
    {modem_group::rest, FIELD(info.modem.slot1_state), "empty"},
    {modem_group::rest, FIELD(info.modem.slot2_state), "empty"},
    {modem_group::gnss, FIELD(info.gnss.state), "unavailable"},
    {modem_group::gnss, FIELD(info.gnss.fixation), "2d"},
    {modem_group::gnss, FIELD(info.gnss.latitude), "0"},
    {modem_group::gnss, FIELD(info.gnss.ns), "north"},
    {modem_group::gnss, FIELD(info.gnss.longitude), "0"},
    {modem_group::gnss, FIELD(info.gnss.ew), "east"},
    {modem_group::gnss, FIELD(info.gnss.altitude), "0"},
    {modem_group::gnss, FIELD(info.gnss.pdop), "0"},
    {modem_group::gnss, FIELD(info.gnss.hdop), "0"},
    {modem_group::gnss, FIELD(info.gnss.vdop), "0"},
    {modem_group::gnss, FIELD(info.gnss.validsvs), "0"},
    {modem_group::gnss, FIELD(info.gnss.cntsvs), "0"},
    {modem_group::gnss, FIELD(info.gnss.datetime), "01-01-2000 00:00:00"},
    {modem_group::rest, FIELD(info.sim.imsi), "none"},
    {modem_group::rest, FIELD(info.sim.iccid), "none"},
    {modem_group::network, FIELD(info.network.state), "disconnected"},
    {modem_group::network, FIELD(info.network.provider), "none"},
    {modem_group::network, FIELD(info.network.type), "none"},
    {modem_group::network, FIELD(info.network.level), modem_levelwords[0]},
    {modem_group::network, FIELD(info.network.ip), "none"},
    {modem_group::network, FIELD(info.network.gateway), "none"},
    {modem_group::network, FIELD(info.network.rx_counter), "0"},
    {modem_group::network, FIELD(info.network.tx_counter), "0"},
    {modem_group::rest, FIELD(info.ussd.state), "stopped"},
    {modem_group::rest, FIELD(info.ussd.cmd), "none"},
    {modem_group::rest, FIELD(info.ussd.answer), "none"},
};

constexpr bool modem_dodefaultsfit()
{
    modem_status status = {};
    for (const modem_default &row : defaults) {
        if (row.word.size() >= row.field(status).capacity) return false;
    }
    return true;
}
static_assert(modem_dodefaultsfit(), "every default word fits its field");

void modem_writedefaults(modem_status &status, modem_group group)
{
    for (const modem_default &row : defaults) {
        if (row.group == group) modem_copytext(row.field(status), row.word);
    }
}

}  // namespace

int modem_setgnssdefaults(modem_status &status)
{
    modem_writedefaults(status, modem_group::gnss);
    return 0;
}

int modem_setnetworkdefaults(modem_status &status)
{
    modem_writedefaults(status, modem_group::network);
    modem_writesignal(status, {});
    return 0;
}

int modem_setstatusdefaults(modem_status &status)
{
    modem_writedefaults(status, modem_group::rest);
    (void)modem_setgnssdefaults(status);  // both are always 0
    (void)modem_setnetworkdefaults(status);
    return 0;
}
