// SPDX-License-Identifier: ISC
// What the modem says by itself: that it, its card and its messages are ready, where it is
// registered, USSD answers, and chatter.
#include <algorithm>
#include <utility>

#include "simulator/modem/command.h"

namespace simulator
{
namespace
{

// The ports that AT+CATR chooses, by its argument; 1 and 4 are interfaces that the router lacks.
constexpr bool chosenports[][port_count] = {
    {true, true}, {false, false}, {false, true}, {true, false}, {false, false},
};

bool speaks(const modem_model &modem, port where)
{
    const std::string_view chosen = setting(modem, "+CATR");
    const bool obeys = modem.profile.stubborn == 0 && chosen.size() == 1;
    const std::size_t row = obeys ? static_cast<std::size_t>(chosen[0] - '0') : 0;
    return chosenports[std::min(row, std::size(chosenports) - 1)][where];
}

// What a card that has got its power announces, in this order.
struct milestone {
    bool announcements::*told;
    milliseconds modem_profile::*delay;  // after the card's first answer; null: none
    std::string_view text;
    bool usable;  // of an unlocked card only
};

constexpr milestone milestones[] = {
    {&announcements::card, nullptr, "card", false},
    {&announcements::messages, &modem_profile::sms_delay, "messages", true},
    {&announcements::phonebook, &modem_profile::phonebook_delay, "phonebook", true},
};

milliseconds due(const modem_model &modem, const milestone &row)
{
    return cardready(modem) + (row.delay != nullptr ? modem.profile.*row.delay : 0);
}

bool ispending(const modem_model &modem, const milestone &row)
{
    if (modem.session.told.*row.told || modem.session.cfun == 0) return false;
    const sim_slot &slot = selectedslot(modem);
    return slot.inserted && (!row.usable || shownlock(slot) == "READY");
}

void tellregistration(modem_model &modem)
{
    const unsigned state = isregistered(modem) ? 1 : 0;
    if (std::exchange(modem.session.told.registration, state) == state) return;
    if (setting(modem, "+CREG") != "0") announce(modem, "+CREG: " + std::to_string(state));
}

void tellussd(modem_model &modem)
{
    std::vector<pending_line> due;
    std::erase_if(modem.session.ussd, [&](const pending_line &row) {
        if (row.due <= modem.now) due.push_back(row);
        return row.due <= modem.now;
    });
    for (const pending_line &row : due)
        announce(modem, row.line);
}

void chatter(modem_model &modem)
{
    const modem_profile &profile = modem.profile;
    if (profile.chatter_interval == 0 || profile.chatter.empty()) return;
    if (modem.now < modem.chatter_due) return;
    announce(modem, profile.chatter[modem.chatter_next++ % profile.chatter.size()]);
    modem.chatter_due = modem.now + profile.chatter_interval;
}

}  // namespace

void announce(modem_model &modem, std::string_view line)
{
    for (const port where : {at_port, second_port}) {
        if (!speaks(modem, where)) continue;
        const modem_port &own = modem.ports[where];
        const bool replying = modem.now >= own.reply_from && modem.now < own.busy_until;
        unsolicited(modem, where, framed(modem, line), replying ? own.busy_until - modem.now : 0);
    }
}

void settle(modem_model &modem)
{
    if (!std::exchange(modem.session.told.ready, true)) announce(modem, wording(modem, "ready"));
    for (const milestone &row : milestones) {
        if (!ispending(modem, row) || modem.now < due(modem, row)) continue;
        modem.session.told.*row.told = true;
        announce(modem, wording(modem, row.text));
    }
    tellregistration(modem);
    tellussd(modem);
    chatter(modem);
}

std::optional<milliseconds> nextannouncement(const modem_model &modem)
{
    std::vector<milliseconds> times;
    for (const milestone &row : milestones)
        if (ispending(modem, row)) times.push_back(due(modem, row));
    for (const pending_line &row : modem.session.ussd)
        times.push_back(row.due);
    if (registrationdue(modem) > modem.now) times.push_back(registrationdue(modem));
    if (modem.profile.chatter_interval != 0 && !modem.profile.chatter.empty())
        times.push_back(modem.chatter_due);
    if (times.empty()) return std::nullopt;
    return *std::min_element(times.begin(), times.end());
}

}  // namespace simulator
