// SPDX-License-Identifier: ISC
// Radio technologies, their fields and level bounds as tables, and the loops that run them.
#include "monitor/signal.h"

#include <cstddef>
#include <iterator>
#include <span>

#include "core/record/cursor.h"
#include "core/record/text.h"

namespace
{

constexpr unsigned levelmax = std::size(modem_levelwords) - 1;

// The top of a level, in dBm.
struct modem_levelbound {
    float rssi;
    bool isincluded = true;  // the bound itself still belongs to the level below
};
constexpr modem_levelbound gsmbounds[levelmax] = {{-110}, {-100}, {-86}, {-70, false}};
constexpr modem_levelbound ltebounds[levelmax] = {{-95}, {-85}, {-75}, {-65}};

struct modem_signalfield {
    unsigned number;  // of the comma-separated field, 1 being the technology word
    char end = ',';
    float modem_signal::*value;
    float (*convert)(float raw) = nullptr;  // null: the field holds the value itself
};

// LTE values come as indices of their ranges, RSRQ in half decibels.
float modem_convertrsrq(float raw)
{
    return static_cast<float>(static_cast<double>(raw) * 0.5 - 20.0);
}

float modem_convertrsrp(float raw)
{
    return raw - 140.0F;
}

float modem_convertrssi(float raw)
{
    return raw - 110.0F;
}

constexpr modem_signalfield gsmfields[] = {{.number = 7, .value = &modem_signal::rssi}};
constexpr modem_signalfield wcdmafields[] = {
    {.number = 10, .value = &modem_signal::ecio},
    {.number = 11, .value = &modem_signal::rscp},
    {.number = 13, .value = &modem_signal::rssi},
};
constexpr modem_signalfield ltefields[] = {
    {.number = 11, .value = &modem_signal::rsrq, .convert = modem_convertrsrq},
    {.number = 12, .value = &modem_signal::rsrp, .convert = modem_convertrsrp},
    {.number = 13, .value = &modem_signal::rssi, .convert = modem_convertrssi},
    {.number = 14, .end = '\r', .value = &modem_signal::sinr},
};

struct modem_technology {
    std::string_view word;
    std::string_view type;
    std::span<const modem_signalfield> fields;
    const modem_levelbound (&bounds)[levelmax];
};
constexpr modem_technology technologies[] = {
    {"GSM", "2g/GSM", gsmfields, gsmbounds},
    {"WCDMA", "3g/WCDMA", wcdmafields, gsmbounds},
    {"LTE", "4g/LTE", ltefields, ltebounds},
};

// One cursor reads the fields and the first bound not passed is the level: both tables ascend.
constexpr bool modem_dotechnologiesascend()
{
    for (const modem_technology &technology : technologies) {
        for (std::size_t i = 1; i < technology.fields.size(); i++) {
            if (technology.fields[i].number <= technology.fields[i - 1].number) return false;
        }
        for (std::size_t i = 1; i < levelmax; i++) {
            if (technology.bounds[i].rssi <= technology.bounds[i - 1].rssi) return false;
        }
    }
    return true;
}
static_assert(modem_dotechnologiesascend(), "fields and bounds ascend");

std::string_view modem_readtechnology(std::string_view reply)
{
    constexpr std::size_t markersize = 2;  // ":" and the blank after it
    const std::size_t colon = reply.find(':');
    if (colon == std::string_view::npos || reply.size() - colon < markersize) return "";
    modem_cursor at = {reply};
    at.rest.remove_prefix(colon + markersize);
    return modem_takeuntil(at, ',').value_or("");
}

// Commas count from the start of the reply. A field without its end, and all after it, keep their
// defaults; so does an empty one.
modem_signal modem_readsignal(std::string_view reply, std::span<const modem_signalfield> fields)
{
    modem_signal signal;
    modem_cursor at = {reply};
    unsigned number = 1;  // of the field at the cursor
    for (const modem_signalfield &field : fields) {
        for (; number < field.number; number++) {
            if (!modem_takeuntil(at, ',')) return signal;
        }
        const std::optional<std::string_view> text = modem_takeuntil(at, field.end);
        if (!text) return signal;
        number++;
        float value = 0.0F;
        if (!modem_readnumber(*text, value)) continue;
        signal.*field.value = field.convert != nullptr ? field.convert(value) : value;
    }
    return signal;
}

// What is no number passes no bound.
bool modem_ispassed(const modem_levelbound &bound, float rssi)
{
    return bound.isincluded ? rssi > bound.rssi : rssi >= bound.rssi;
}

std::string_view modem_findlevel(const modem_levelbound (&bounds)[levelmax], float rssi)
{
    unsigned level = 0;
    while (level < levelmax && modem_ispassed(bounds[level], rssi))
        level++;
    return modem_levelwords[level];
}

}  // namespace

void modem_writesignal(modem_status &status, const modem_signal &signal)
{
    auto &network = status.info.network;
    modem_settext(network.rssi, "%.2f", signal.rssi);
    modem_settext(network.rsrp, "%.2f", signal.rsrp);
    modem_settext(network.rsrq, "%.2f", signal.rsrq);
    modem_settext(network.sinr, "%.2f", signal.sinr);
    modem_settext(network.rscp, "%.2f", signal.rscp);
    modem_settext(network.ecio, "%.2f", signal.ecio);
}

bool modem_isregistered(std::string_view reply)
{
    return reply.find('"') != std::string_view::npos;
}

void modem_parseprovider(modem_status &status, std::string_view reply)
{
    modem_cursor at = {reply};
    std::optional<std::string_view> name = modem_takequoted(at);
    if (!name) {
        if (!modem_skippast(at, "\"")) return;
        const std::size_t end = at.rest.find_first_of("\r\n");
        name = {at.rest.data(), end == std::string_view::npos ? at.rest.size() : end};
    }
    modem_copytext(status.info.network.provider, *name);
}

int modem_parsesysinfo(modem_status &status, std::string_view reply)
{
    auto &network = status.info.network;
    const std::string_view word = modem_readtechnology(reply);
    modem_copytext(network.type, word);
    for (const modem_technology &technology : technologies) {
        if (technology.word != word) continue;
        const modem_signal signal = modem_readsignal(reply, technology.fields);
        modem_copytext(network.type, technology.type);
        modem_copytext(network.level, modem_findlevel(technology.bounds, signal.rssi));
        modem_writesignal(status, signal);
        return 1;
    }
    return 0;
}

unsigned modem_levelindex(const char *level)
{
    unsigned index = 0;
    while (index < levelmax && modem_levelwords[index] != level)
        index++;
    return index;
}
