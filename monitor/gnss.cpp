// SPDX-License-Identifier: ISC
// The GNSS report in two halves: reply text to values, values to status fields.
#include "monitor/gnss.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>

#include "core/record/cursor.h"
#include "core/record/text.h"
#include "monitor/defaults.h"

namespace
{

// What a reply tells, with what holds for a field that is empty or missing. Texts lie in the reply.
struct modem_gnssvalues {
    std::uint32_t fixmode = 2;
    std::uint32_t svs1 = 0;  // satellites of the four systems
    std::uint32_t svs2 = 0;
    std::uint32_t svs3 = 0;
    std::uint32_t svs4 = 0;
    float latitude = 0.0F;  // degrees as the modem writes them, not converted
    std::string_view ns = "N";
    float longitude = 0.0F;
    std::string_view ew = "E";
    std::string_view date = "000000";     // ddmmyy
    std::string_view time = "000000.00";  // hhmmss.ss
    float altitude = 0.0F;                // metres
    float pdop = 0.0F;
    float hdop = 0.0F;
    float vdop = 0.0F;
    std::uint32_t usedsvs = 0;
};

constexpr std::uint32_t fixsvsmin = 2;  // satellites in use that make a fix

using modem_gnssread = void (*)(modem_gnssvalues &values, std::string_view field);

void modem_readtext(std::string_view field, std::string_view &value)
{
    if (!field.empty()) value = field;
}

template <auto member>
void modem_readgnssnumber(modem_gnssvalues &values, std::string_view field)
{
    (void)modem_readnumber(field, values.*member);  // an unreadable field keeps the start value
}

template <auto member>
void modem_readgnsstext(modem_gnssvalues &values, std::string_view field)
{
    modem_readtext(field, values.*member);
}

// The fields of the report, in order; null: skipped. A comma ends each but the last.
constexpr modem_gnssread gnssfields[] = {
    modem_readgnssnumber<&modem_gnssvalues::fixmode>,
    modem_readgnssnumber<&modem_gnssvalues::svs1>,
    modem_readgnssnumber<&modem_gnssvalues::svs2>,
    modem_readgnssnumber<&modem_gnssvalues::svs3>,
    modem_readgnssnumber<&modem_gnssvalues::svs4>,
    modem_readgnssnumber<&modem_gnssvalues::latitude>,
    modem_readgnsstext<&modem_gnssvalues::ns>,
    modem_readgnssnumber<&modem_gnssvalues::longitude>,
    modem_readgnsstext<&modem_gnssvalues::ew>,
    modem_readgnsstext<&modem_gnssvalues::date>,
    modem_readgnsstext<&modem_gnssvalues::time>,
    modem_readgnssnumber<&modem_gnssvalues::altitude>,
    nullptr,  // speed over ground
    nullptr,  // course
    modem_readgnssnumber<&modem_gnssvalues::pdop>,
    modem_readgnssnumber<&modem_gnssvalues::hdop>,
    modem_readgnssnumber<&modem_gnssvalues::vdop>,
    modem_readgnssnumber<&modem_gnssvalues::usedsvs>,
};

struct modem_hemisphere {
    std::string_view letter;
    std::string_view word;
};
constexpr modem_hemisphere latitudes[] = {{"N", "north"}, {"S", "south"}};
constexpr modem_hemisphere longitudes[] = {{"E", "east"}, {"W", "west"}};

modem_gnssvalues modem_readgnssinfo(std::string_view reply)
{
    modem_gnssvalues values;
    modem_cursor at = {reply};
    if (!modem_skippast(at, ": ")) return values;
    for (const modem_gnssread &read : gnssfields) {
        const bool islast = &read == std::end(gnssfields) - 1;
        const std::optional<std::string_view> field = modem_takeuntil(at, islast ? '\r' : ',');
        if (!field) break;
        if (read != nullptr) read(values, *field);
    }
    return values;
}

// An unknown letter leaves the field as it was.
void modem_writehemisphere(modem_field field,
                           std::string_view letter,
                           std::span<const modem_hemisphere> hemispheres)
{
    for (const modem_hemisphere &hemisphere : hemispheres) {
        if (hemisphere.letter == letter) modem_copytext(field, hemisphere.word);
    }
}

// A text of six characters as the three pairs of a date or a time; shorter texts give shorter
// pairs.
struct modem_pairs {
    char text[3][3] = {};
};

modem_pairs modem_splitpairs(std::string_view text)
{
    modem_pairs pairs;
    for (std::size_t i = 0; i < 6 && i < text.size(); i++)
        pairs.text[i / 2][i % 2] = text.data()[i];
    return pairs;
}

void modem_writegnssfix(modem_status &status, const modem_gnssvalues &values)
{
    auto &gnss = status.info.gnss;
    const modem_pairs date = modem_splitpairs(values.date);
    const modem_pairs time = modem_splitpairs(values.time);
    modem_copytext(gnss.state, "available");
    modem_settext(gnss.fixation, "%ud", values.fixmode);
    modem_settext(gnss.latitude, "%.7f", values.latitude);
    modem_writehemisphere(gnss.ns, values.ns, latitudes);
    modem_settext(gnss.longitude, "%.7f", values.longitude);
    modem_writehemisphere(gnss.ew, values.ew, longitudes);
    modem_settext(gnss.altitude, "%.2f", values.altitude);
    modem_settext(gnss.pdop, "%.2f", values.pdop);
    modem_settext(gnss.hdop, "%.2f", values.hdop);
    modem_settext(gnss.vdop, "%.2f", values.vdop);
    modem_settext(gnss.validsvs, "%u", values.usedsvs);
    modem_settext(gnss.cntsvs, "%u", values.svs1 + values.svs2 + values.svs3 + values.svs4);
    modem_settext(gnss.datetime, "%s-%s-20%s %s:%s:%s", date.text[0], date.text[1], date.text[2],
                  time.text[0], time.text[1], time.text[2]);
}

}  // namespace

int modem_parsegnssinfo(modem_status &status, std::string_view reply)
{
    const modem_gnssvalues values = modem_readgnssinfo(reply);
    if (values.usedsvs < fixsvsmin) return modem_setgnssdefaults(status);
    modem_writegnssfix(status, values);
    return 1;
}
