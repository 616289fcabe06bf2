// SPDX-License-Identifier: ISC
// Commands of the SIM card: its lock and its numbers.
#include "simulator/modem/command.h"

namespace simulator
{
namespace
{

constexpr unsigned allpintries = 3;
constexpr unsigned allpuktries = 10;

// The card in the modem's reach; no code when it answers.
outcome cardpresence(const modem_model &modem)
{
    if (!selectedslot(modem).inserted) return cmefailed(10);
    if (modem.session.cfun == 0) return cmefailed(13);
    if (modem.now < cardready(modem)) return cmefailed(14);
    return {};
}

// A wrong code costs a try; a right one gives them all back.
bool takestry(bool right, unsigned &tries, unsigned all)
{
    tries = right ? all : tries - 1;
    return right;
}

// The last wrong one of a PIN calls for the PUK.
bool takespin(sim_slot &slot, std::string_view pin)
{
    slot.unlocked = takestry(pin == slot.pin, slot.pintries, allpintries);
    if (slot.pintries == 0) slot.lock = "SIM PUK";
    return slot.unlocked;
}

outcome unblock(sim_slot &slot, std::string_view puk, std::string_view newpin)
{
    if (slot.puktries == 0) return cmefailed(13);
    if (newpin.empty()) return cmefailed(12);
    if (!takestry(puk == slot.puk, slot.puktries, allpuktries)) return cmefailed(16);
    slot.pin = newpin;
    slot.pintries = allpintries;
    slot.lock = "SIM PIN";
    slot.unlocked = true;
    return {};
}

// The lock state, or the code that ends it (TS 27.007 8.3).
outcome lockstate(modem_model &modem, const request &asked, information &lines)
{
    sim_slot &slot = selectedslot(modem);
    const outcome card = cardpresence(modem);
    if (card.how != result::ok) return card;
    if (asked.how == form::query) {
        if (slot.puktries == 0) return cmefailed(13);
        lines.push_back(wording(modem, "card"));
        return {};
    }
    const std::string_view lock = shownlock(slot);
    if (lock == "SIM PUK") return unblock(slot, asked.text(0), asked.text(1));
    if (lock != "SIM PIN") return cmefailed(3);
    return takespin(slot, asked.text(0)) ? outcome() : cmefailed(16);
}

// Whether the card wants its PIN whenever it has got its power (TS 27.007 7.4).
outcome changelock(modem_model &modem, const request &asked, information &lines)
{
    sim_slot &slot = selectedslot(modem);
    const outcome card = cardstate(modem);
    if (card.how != result::ok) return card;
    if (asked.text(1) == "2") {
        lines.push_back(slot.lock == "READY" ? "+CLCK: 0" : "+CLCK: 1");
        return {};
    }
    if (!takespin(slot, asked.text(2))) return cmefailed(16);
    slot.lock = asked.text(1) == "0" ? "READY" : "SIM PIN";
    return {};
}

outcome shownumber(modem_model &modem, const request &asked, information &lines)
{
    const outcome card = cardstate(modem);
    return card.how == result::ok ? show(modem, asked, lines) : card;
}

constexpr command commands[] = {
    {"+CPIN", lockstate},
    {"+CLCK", changelock, "SC"},
    {"+CIMI", shownumber, "", "{imsi}"},
    {"+CICCID", shownumber, "", "+ICCID: {iccid}"},
};

}  // namespace

std::span<const command> cardcommands()
{
    return commands;
}

std::string_view shownlock(const sim_slot &slot)
{
    return slot.unlocked ? "READY" : std::string_view(slot.lock);
}

outcome cardstate(const modem_model &modem)
{
    const outcome card = cardpresence(modem);
    const std::string_view lock = shownlock(selectedslot(modem));
    if (card.how != result::ok || lock == "READY") return card;
    return cmefailed(lock == "SIM PIN" ? 11 : lock == "SIM PUK" ? 12 : 13);
}

milliseconds cardready(const modem_model &modem)
{
    return modem.session.card_since + modem.profile.card_delay;
}

void restartcard(modem_model &modem)
{
    announcements &told = modem.session.told;
    modem.session.card_since = modem.now;
    for (sim_slot &slot : modem.slots)
        slot.unlocked = false;
    told.card = told.messages = told.phonebook = false;
}

}  // namespace simulator
