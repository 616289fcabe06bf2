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

modem_status start()
{
    modem_status status;
    std::memset(&status, 0xA5, sizeof(status));
    modem_setstatusdefaults(status);
    return status;
}

bool same(const modem_status &a, const modem_status &b)
{
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

void checkterminated(modem_status &status)
{
    for (const auto &row : fields) {
        const modem_field field = row(status);
        fuzz_require(std::memchr(field.text, '\0', field.capacity) != nullptr, "field ends");
    }
}

void fuzzgnss(std::string_view reply)
{
    const modem_status before = start();
    modem_status status = before;
    const int result = modem_parsegnssinfo(status, reply);
    fuzz_require(result == 1 || same(status, before), "no fix: the defaults");
    checkterminated(status);
    status.info.gnss = before.info.gnss;
    fuzz_require(same(status, before), "only GNSS fields are written");
}

void fuzzprovider(std::string_view reply)
{
    const modem_status before = start();
    modem_status status = before;
    modem_parseprovider(status, reply);
    fuzz_require(modem_isregistered(reply) || same(status, before), "no quote: nothing written");
    checkterminated(status);
    std::memcpy(status.info.network.provider, before.info.network.provider, 32);
    fuzz_require(same(status, before), "only the provider is written");
}

void fuzzsysinfo(std::string_view reply)
{
    const modem_status before = start();
    modem_status status = before;
    const int result = modem_parsesysinfo(status, reply);
    checkterminated(status);
    fuzz_require(modem_levelindex(status.info.network.level) <= 4, "a level of the bar");
    if (result == 0) {
        std::memcpy(status.info.network.type, before.info.network.type, 32);
        fuzz_require(same(status, before), "unknown technology: only its word");
    }
    status.info.network = before.info.network;
    fuzz_require(same(status, before), "only network fields are written");
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
    fuzzgnss(text);
    fuzzprovider(text);
    fuzzsysinfo(text);
    fuzzroute(text);
    fuzz_require(modem_readword(text, "+CGMR:").find_first_of(" \r\n") == text.npos, "one word");
    fuzz_require(modem_readsimlock(text).find('\r') == text.npos, "one line");
    fuzz_require(modem_readcapacity(text) <= 255, "a place has one octet");
    fuzz_require(modem_readslots(text).value_or(0) <= 3, "two slots");
    return 0;
}
