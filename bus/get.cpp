// SPDX-License-Identifier: ISC
// The status report: rows of paths, and the engine that makes nested tables of them.
#include "bus/get.h"

#include "bus/request.h"
#include "core/record/paths.h"
#include "core/record/pmod.h"

namespace
{

struct modem_leaf {
    std::string_view path;
    const char *(*text)(const modem_status &);
    std::size_t room;  // octets of the text at most, NUL included
};

// LEAF(info.sim.imsi): the field of that path. FIXED: the same text in every report.
#define LEAF(path)                                                                       \
    {                                                                                    \
#path, [](const modem_status &status)                                            \
                    -> const char * { return status.path; }, sizeof(modem_status().path) \
    }
#define FIXED(path, words)                                                               \
    {                                                                                    \
#path, [](const modem_status &) -> const char * { return words; }, sizeof(words) \
    }

constexpr char recvmax[] = "32";
static_assert(modem_smslistmax == 32, "info.sms.recv_max tells the size of the list");

// In the order of the reply.
constexpr modem_leaf report[] = {
    LEAF(settings.modem.slot),
    LEAF(settings.modem.rs485.pull),
    LEAF(settings.modem.gnss.power),
    LEAF(settings.modem.gnss.mode),
    LEAF(settings.modem.network.type),
    LEAF(settings.modem.network.iptype),
    LEAF(settings.modem.network.iparea),
    LEAF(settings.modem.network.apn),
    FIXED(info.kelvantorium.version, "1.1"),
    LEAF(info.kelvantorium.prevstate),
    LEAF(info.kelvantorium.state),
    LEAF(info.kelvantorium.error),
    LEAF(info.kelvantorium.reason),
    LEAF(info.kelvantorium.reinit_counter),
    LEAF(info.modem.model),
    LEAF(info.modem.firmware),
    LEAF(info.modem.imei),
    LEAF(info.modem.slot1_state),
    LEAF(info.modem.slot2_state),
    LEAF(info.gnss.state),
    LEAF(info.gnss.fixation),
    LEAF(info.gnss.latitude),
    LEAF(info.gnss.ns),
    LEAF(info.gnss.longitude),
    LEAF(info.gnss.ew),
    LEAF(info.gnss.altitude),
    LEAF(info.gnss.pdop),
    LEAF(info.gnss.hdop),
    LEAF(info.gnss.vdop),
    LEAF(info.gnss.validsvs),
    LEAF(info.gnss.cntsvs),
    LEAF(info.gnss.datetime),
    LEAF(info.sim.imsi),
    LEAF(info.sim.iccid),
    LEAF(info.network.state),
    LEAF(info.network.provider),
    LEAF(info.network.type),
    LEAF(info.network.level),
    LEAF(info.network.rssi),
    LEAF(info.network.rsrp),
    LEAF(info.network.rsrq),
    LEAF(info.network.sinr),
    LEAF(info.network.rscp),
    LEAF(info.network.ecio),
    LEAF(info.network.ip),
    LEAF(info.network.gateway),
    LEAF(info.network.rx_counter),
    LEAF(info.network.tx_counter),
    LEAF(info.ussd.state),
    LEAF(info.ussd.cmd),
    LEAF(info.ussd.answer),
    LEAF(info.sms.recv_counter),
    FIXED(info.sms.recv_max, recvmax),
    FIXED(info.sms.recv_file, modem_smsfilepath),
};

constexpr unsigned depthmax = 4;
constexpr unsigned namemax = 32;

constexpr unsigned modem_countdots(std::string_view text)
{
    unsigned dots = 0;
    for (const char c : text)
        dots += c == '.' ? 1U : 0U;
    return dots;
}

constexpr bool modem_fitdepth()
{
    for (const modem_leaf &leaf : report) {
        if (modem_countdots(leaf.path) > depthmax) return false;
    }
    return true;
}

static_assert(modem_fitdepth(), "no report path is deeper than the tables kept open");

// What the whole report takes in a message: more than that, as every leaf is counted with tables of
// its own. Each name has a head of 4 octets, a length of 2, its NUL and up to 3 of padding.
constexpr std::size_t modem_reportroom()
{
    std::size_t room = 0;
    for (const modem_leaf &leaf : report)
        room +=
            leaf.path.size() + (modem_countdots(leaf.path) + std::size_t{1}) * 10 + leaf.room + 3;
    return room;
}

static_assert(modem_reportroom() + 64 <= modem_replymax, "no reply or notification allocates");

// How much of the two paths, up to and including a dot, is the same: the tables that stay open.
std::size_t modem_commonprefix(std::string_view before, std::string_view path)
{
    std::size_t common = 0;
    for (std::size_t i = 0; i < before.size() && i < path.size(); i++) {
        if (before.data()[i] != path.data()[i]) break;
        if (path.data()[i] == '.') common = i + 1;
    }
    return common;
}

struct modem_opentables {
    void *tables[depthmax];
    unsigned depth;
};

void modem_closeto(modem_opentables &open, unsigned depth)
{
    while (open.depth > depth)
        modem_closetable(open.tables[--open.depth]);
}

void modem_addleaf(modem_opentables &open,
                   std::string_view before,
                   const modem_leaf &leaf,
                   const modem_status &status)
{
    const std::size_t common = modem_commonprefix(before, leaf.path);
    modem_closeto(open, modem_countdots({leaf.path.data(), common}));
    std::string_view rest = leaf.path;
    rest.remove_prefix(common);
    char name[namemax];
    for (std::size_t dot = rest.find('.'); dot != std::string_view::npos; dot = rest.find('.')) {
        modem_copytext(name, {rest.data(), dot});
        open.tables[open.depth++] = modem_opentable(name);
        rest.remove_prefix(dot + 1);
    }
    modem_addreply(rest.data(), leaf.text(status));
}

}  // namespace

unsigned modem_addreport(const modem_status &status, const modem_status *known)
{
    modem_opentables open = {};
    std::string_view before;
    unsigned count = 0;
    for (const modem_leaf &leaf : report) {
        if (known != nullptr && modem_isword(leaf.text(status), leaf.text(*known))) continue;
        modem_addleaf(open, before, leaf, status);
        before = leaf.path;
        count++;
    }
    modem_closeto(open, 0);
    return count;
}

int modem_get(ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *, blob_attr *)
{
    modem_beginreply();
    modem_addreply("result", "ok");
    (void)modem_addreport(pmod->published, nullptr);
    return modem_sendreply({ctx, req});
}
