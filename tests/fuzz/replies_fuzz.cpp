// SPDX-License-Identifier: ISC
// The parsers of the poll: any text in, and nothing but their own fields written, all terminated.
#include <cstring>
#include <sys/mman.h>

#include "config/replies.h"
#include "core/record/status.h"
#include "fuzz/mutate.h"
#include "indicators/adc.h"
#include "monitor/defaults.h"
#include "monitor/gnss.h"
#include "monitor/route.h"
#include "monitor/signal.h"
#include "sms/storage.h"

namespace
{

constexpr modem_field (*fields[])(modem_status &) = {
    FIELD(info.gnss.state),      FIELD(info.gnss.fixation),  FIELD(info.gnss.latitude),
    FIELD(info.gnss.ns),         FIELD(info.gnss.longitude), FIELD(info.gnss.ew),
    FIELD(info.gnss.altitude),   FIELD(info.gnss.pdop),      FIELD(info.gnss.hdop),
    FIELD(info.gnss.vdop),       FIELD(info.gnss.validsvs),  FIELD(info.gnss.cntsvs),
    FIELD(info.gnss.datetime),   FIELD(info.network.state),  FIELD(info.network.provider),
    FIELD(info.network.type),    FIELD(info.network.level),  FIELD(info.network.rssi),
    FIELD(info.network.rscp),    FIELD(info.network.ecio),   FIELD(info.network.rsrp),
    FIELD(info.network.rsrq),    FIELD(info.network.sinr),   FIELD(info.network.ip),
    FIELD(info.network.gateway),
};

struct parsed {
    int result;
    modem_status status;
    bool changed;
};

// Runs a parser over the defaults. It may write to `own` alone.
template <typename member>
parsed parse(int (*run)(modem_status &, std::string_view), std::string_view reply, member &&own)
{
    modem_status before;
    std::memset(&before, 0xA5, sizeof(before));
    modem_setstatusdefaults(before);
    const auto same = [&](const modem_status &status) {
        return std::memcmp(&status, &before, sizeof(before)) == 0;
    };
    modem_status status = before;
    const int result = run(status, reply);
    const parsed made = {result, status, !same(status)};
    for (const auto &row : fields) {
        const modem_field field = row(status);
        fuzz_require(std::memchr(field.text, '\0', field.capacity) != nullptr, "field ends");
    }
    std::memcpy(&own(status), &own(before), sizeof(own(before)));
    fuzz_require(same(status), "only its own fields are written");
    return made;
}

void fuzzparsers(std::string_view reply)
{
    const parsed fix = parse(
        modem_parsegnssinfo, reply, [](auto &s) -> auto & { return s.info.gnss; });
    fuzz_require(fix.result == 1 || !fix.changed, "no fix: the defaults");
    const auto provide = [](modem_status &status, std::string_view text) {
        modem_parseprovider(status, text);
        return 0;
    };
    const parsed provider = parse(
        provide, reply, [](auto &s) -> auto & { return s.info.network.provider; });
    fuzz_require(modem_isregistered(reply) || !provider.changed, "no quote: nothing written");
    const parsed signal = parse(
        modem_parsesysinfo, reply, [](auto &s) -> auto & { return s.info.network; });
    fuzz_require(modem_levelindex(signal.status.info.network.level) <= 4, "a level of the bar");
    if (signal.result == 1) return;
    (void)parse(
        modem_parsesysinfo, reply, [](auto &s) -> auto & { return s.info.network.type; });
}

void fuzzroute(std::string_view table)
{
    constexpr std::uint32_t untouched = 0xA5A5A5A5;
    std::uint32_t gateway = untouched;
    const bool isdefault = modem_isdefaultroute(table, "usb0", gateway);
    fuzz_require(isdefault || gateway == untouched, "no route: no gateway");

    static const int file = memfd_create("route", 0);
    fuzz_require(ftruncate(file, 0) == 0 && lseek(file, 0, SEEK_SET) == 0, "a file to read");
    fuzz_require(pwrite(file, table.data(), table.size(), 0) >= 0, "a file to fill");
    gateway = untouched;
    const int result = modem_findgateway(file, "usb0", gateway);
    fuzz_require(result == 0 || (result == -1 && gateway == untouched), "no route: no gateway");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view text = fuzz_text(data, size);
    fuzzparsers(text);
    fuzzroute(text);
    fuzz_require(modem_readword(text, "+CGMR:").find_first_of(" \r\n") == text.npos, "one word");
    fuzz_require(modem_readsimlock(text).find('\r') == text.npos, "one line");
    fuzz_require(modem_readcapacity(text) <= 255, "a place has one octet");
    fuzz_require(modem_readslots(text).value_or(0) <= 3, "two slots");
    return 0;
}
