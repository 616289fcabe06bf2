// SPDX-License-Identifier: ISC
// The ports of the modem: octets into commands, faults, and replies into timed output.
#include "simulator/modem/model.h"

#include <algorithm>
#include <utility>

#include "simulator/modem/command.h"

namespace simulator
{
namespace
{

constexpr char ctrl_z = 0x1A;
constexpr char escape = 0x1B;
constexpr std::size_t maxline = 4096;      // octets of input kept while a line is incomplete
constexpr std::size_t maxcommands = 4096;  // the log keeps the latest

fault *matchingfault(modem_model &modem, std::string_view text)
{
    for (fault &row : modem.faults) {
        if (row.exact ? equalnocase(text, row.command) : startsnocase(text, row.command))
            return &row;
    }
    return nullptr;
}

// Takes the first fault that fits; the last of its counted matches removes it.
std::optional<fault> takefault(modem_model &modem, std::string_view text)
{
    fault *found = matchingfault(modem, text);
    if (found == nullptr) return std::nullopt;
    fault taken = *found;
    if (found->times == 1)
        modem.faults.erase(modem.faults.begin() + (found - modem.faults.data()));
    else if (found->times > 1)
        found->times--;
    return taken;
}

void deliver(modem_model &modem, port where, std::string text, milliseconds delay)
{
    if (text.empty()) return;
    modem_port &own = modem.ports[where];
    own.busy_until = std::max(own.busy_until, modem.now + delay);
    own.outgoing.emplace(own.busy_until, std::move(text));
}

// In pieces, if the profile or a fault cuts them.
void deliverpieces(
    modem_model &modem, port where, std::string_view text, std::size_t size, milliseconds gap)
{
    milliseconds delay = modem.profile.reply_delay;
    modem_port &own = modem.ports[where];
    own.reply_from = std::max(own.busy_until, modem.now + delay);
    for (; !text.empty(); delay += gap) {
        const std::string_view piece = text.substr(0, size);
        deliver(modem, where, std::string(piece), delay);
        text.remove_prefix(piece.size());
    }
}

void deliverreply(modem_model &modem, port where, std::string text, const std::optional<fault> &how)
{
    const auto size = static_cast<std::size_t>(modem.profile.piece_size);
    if (!how) {
        return deliverpieces(modem, where, text, size != 0 ? size : text.size(),
                             modem.profile.piece_delay);
    }
    if (how->kind == faultkind::split)
        return deliverpieces(modem, where, text, std::max<std::size_t>(how->chunk, 1), how->delay);
    if (how->kind == faultkind::garbage) text.insert(0, how->text);
    if (how->kind == faultkind::flood) text.insert(0, framed(modem, std::string(how->chunk, '#')));
    if (how->kind == faultkind::cut && text.ends_with("\r\n")) text.resize(text.size() - 2);
    deliver(modem, where, std::move(text), how->kind == faultkind::late ? how->delay : 0);
}

using runner = std::string (*)(modem_model &modem, port where, std::string_view text);

// Logs the text, runs it unless a fault takes its place, and delivers the reply.
void answer(modem_model &modem, port where, std::string_view text, runner run)
{
    modem.commands.push_back({++modem.command_count, std::string(text)});
    if (modem.commands.size() > maxcommands) modem.commands.pop_front();
    const std::optional<fault> how = takefault(modem, text);
    if (how && how->kind == faultkind::silence) return;
    if (how && how->kind == faultkind::reply) return deliver(modem, where, how->text, how->delay);
    if (how && how->kind == faultkind::error) {
        const std::string final = how->text.empty() ? "ERROR" : how->text;
        return deliver(modem, where, framed(modem, final), how->delay);
    }
    deliverreply(modem, where, run(modem, where, text), how);
}

void takeprompted(modem_model &modem, port where, char octet)
{
    modem_port &own = modem.ports[where];
    // A command line instead of a message ends the prompt: its sender has given up waiting.
    const bool abandoned = octet == '\r' && startsnocase(own.line, "AT");
    if (octet == '\r' && !abandoned) return;
    if (octet == ctrl_z || octet == escape || abandoned) {
        const std::string text = std::exchange(own.line, {});
        own.prompting = false;
        if (octet == escape) return deliver(modem, where, framed(modem, "OK"), 0);
        return answer(modem, where, text, abandoned ? execute : finishmessage);
    }
    if (octet != '\n' && own.line.size() < maxline) own.line.push_back(octet);
}

void takeoctet(modem_model &modem, port where, char octet)
{
    modem_port &own = modem.ports[where];
    if (own.prompting) return takeprompted(modem, where, octet);
    if (own.echo) deliver(modem, where, std::string(1, octet), 0);
    if (octet == '\r') {
        const std::string text = std::exchange(own.line, {});
        if (!text.empty()) answer(modem, where, text, execute);
        return;
    }
    if (octet != '\n' && own.line.size() < maxline) own.line.push_back(octet);
}

}  // namespace

void feed(modem_model &modem, port where, std::string_view input, milliseconds now)
{
    modem.now = now;
    settle(modem);
    for (const char octet : input)
        takeoctet(modem, where, octet);
}

std::string take(modem_model &modem, port where, milliseconds now)
{
    modem.now = now;
    settle(modem);
    auto &outgoing = modem.ports[where].outgoing;
    const auto end = outgoing.upper_bound(now);
    std::string out;
    for (auto piece = outgoing.begin(); piece != end; ++piece)
        out += piece->second;
    outgoing.erase(outgoing.begin(), end);
    return out;
}

std::optional<milliseconds> nextdue(const modem_model &modem)
{
    std::optional<milliseconds> first = nextannouncement(modem);
    for (const modem_port &own : modem.ports) {
        if (own.outgoing.empty()) continue;
        const milliseconds due = own.outgoing.begin()->first;
        first = std::min(first.value_or(due), due);
    }
    return first;
}

void unsolicited(modem_model &modem, port where, std::string_view text, milliseconds delay)
{
    modem.ports[where].outgoing.emplace(modem.now + delay, text);
}

void powercycle(modem_model &modem, milliseconds now)
{
    modem.now = now;
    modem.session = {};
    modem.session.radio_since = modem.session.gnss_since = now;
    modem.session.told.ready = false;
    restartcard(modem);
    modem.ports = {};
    modem.chatter_due = now + modem.profile.chatter_interval;
    (void)execute(modem, at_port, modem.profile.boot);
}

}  // namespace simulator
