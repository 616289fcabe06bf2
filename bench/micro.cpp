// SPDX-License-Identifier: ISC
// The daemon's parsers, codecs and the report, by themselves. Traces are left out at link time:
// what they cost is part of the processor time of a command.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include <benchmark/benchmark.h>
#include <libubus.h>

#include "bus/get.h"
#include "bus/request.h"
#include "core/record/pmod.h"
#include "core/record/state.h"
#include "core/record/text.h"
#include "core/record/trace.h"
#include "monitor/gnss.h"
#include "monitor/signal.h"
#include "simulator/modem/pdu.h"
#include "sms/deliver.h"
#include "sms/text.h"

void modem_trace(const char *, ...) {}

void modem_tracehex(const char *, std::span<const std::uint8_t>) {}

bool modem_istracing()
{
    return false;
}

void modem_settracing(bool) {}

namespace
{

unsigned long requests;

}  // namespace

extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *old, std::size_t size);

void *malloc(std::size_t size) noexcept
{
    requests++;
    return __libc_malloc(size);
}

void *calloc(std::size_t count, std::size_t size) noexcept
{
    requests++;
    return __libc_calloc(count, size);
}

void *realloc(void *old, std::size_t size) noexcept
{
    requests++;
    return __libc_realloc(old, size);
}

// The report is built and goes no further.
int __wrap_ubus_send_reply(ubus_context *, ubus_request_data *, blob_attr *message);

int __wrap_ubus_send_reply(ubus_context *, ubus_request_data *, blob_attr *message)
{
    benchmark::DoNotOptimize(message);
    return 0;
}
}

namespace
{

constexpr char gnssreply[] =
    "\r\n+CGNSSINFO: 3,05,02,00,01,5546.123456,N,03737.654321,E,150324,093015.00,156.3,0.0,,1.5,"
    "0.9,1.2,07\r\n\r\nOK\r\n";
constexpr char signalreply[] =
    "\r\n+CPSI: LTE,Online,250-99,0x5A1E,187214780,257,EUTRAN-BAND3,1850,5,5,20,50,40,15\r\n\r\n"
    "OK\r\n";
constexpr char operatorreply[] = "\r\n+COPS: 0,0,\"Test Operator\",7\r\n\r\nOK\r\n";

// Runs `action`, which tells whether it did its work, and counts requests to the heap.
template <typename work>
void measure(benchmark::State &state, work &&action)
{
    if (!action()) return state.SkipWithError("wrong result");
    const unsigned long before = requests;
    for (auto step : state) {
        bool done = action();
        benchmark::DoNotOptimize(done);
        benchmark::ClobberMemory();
    }
    state.counters["requests"] = static_cast<double>(requests - before);
}

void deliver(benchmark::State &state,
             simulator::coding how,
             const std::string &text,
             unsigned count)
{
    simulator::message sent;
    sent.how = how;
    sent.text = simulator::encode(how, text);
    const std::string hex = simulator::buildpdu(sent);
    std::uint8_t octets[sizeof(modem_state::pdu_octets)];
    modem_deliver message;
    measure(state, [&] {
        const std::size_t size = modem_hextobin(hex, octets);
        return modem_decodedeliver(hex, {octets, size}, message) && message.length == count;
    });
}

std::string repeated(const char *text, int times)
{
    std::string all;
    for (int i = 0; i < times; i++)
        all += text;
    return all;
}

void deliver7bit(benchmark::State &state)
{
    deliver(state, simulator::coding::bit7, repeated("0123456789ABCDEFghijklmnopqrstuv", 5), 160);
}

void deliverucs2(benchmark::State &state)
{
    deliver(state, simulator::coding::ucs2, repeated("Сообщения.", 7), 70);
}

void toucs2(benchmark::State &state)
{
    const std::string text(70, '\xC0');
    char hex[4 * 70 + 1];
    measure(state, [&] { return modem_cp1251toucs2(text.c_str(), hex) == 0; });
}

void fromucs2(benchmark::State &state)
{
    const std::string hex = repeated("0410", 70);
    char text[71];
    measure(state, [&] { return modem_ucs2tocp1251(text, hex) == 0; });
}

void gnss(benchmark::State &state)
{
    modem_status status = {};
    measure(state, [&] { return modem_parsegnssinfo(status, gnssreply) == 1; });
}

void levels(benchmark::State &state)
{
    modem_status status = {};
    measure(state, [&] { return modem_parsesysinfo(status, signalreply) == 1; });
}

void operators(benchmark::State &state)
{
    modem_status status = {};
    measure(state, [&] {
        modem_parseprovider(status, operatorreply);
        return status.info.network.provider[0] == 'T';
    });
}

void report(benchmark::State &state)
{
    static modem_state record;
    pmod = &record;
    // Every field with a text of some length; what it says does not matter.
    char *octets = reinterpret_cast<char *>(&record.published.info);
    for (std::size_t i = 0; i < sizeof(record.published.info); i++)
        octets[i] = i % 12 == 11 ? '\0' : 'x';
    octets[sizeof(record.published.info) - 1] = '\0';
    (void)modem_preparereply();
    ubus_request_data request = {};
    measure(state, [&] { return modem_get(nullptr, nullptr, &request, "get", nullptr) == 0; });
}

BENCHMARK(deliver7bit);
BENCHMARK(deliverucs2);
BENCHMARK(fromucs2);
BENCHMARK(toucs2);
BENCHMARK(gnss);
BENCHMARK(levels);
BENCHMARK(operators);
BENCHMARK(report);

}  // namespace

BENCHMARK_MAIN();
