// SPDX-License-Identifier: ISC
// The programs of the virtual router and how to see that each is ready.
#include "simulator/router/parts.h"

#include <signal.h>
#include <unistd.h>

#include "simulator/router/bus.h"
#include "simulator/router/process.h"

using namespace std::chrono_literals;

const char router_defaultconfig[] = R"(
config modem 'modem'
	option slot '1'

config rs485 'rs485'
	option pull 'down'

config gnss 'gnss'
	option power 'on'
	option mode '3'

config network 'network'
	option type 'auto'
	option iptype 'ipv4'
	option iparea 'public'
	option apn 'dynamic'
)";

namespace
{

struct part_row {
    const char *program;
    bool (*isready)();
    const char *out;  // file of its standard output
};

// The passwords as crypt(3) writes them.
constexpr char logins[] = R"(
config login
	option username 'status'
	option password '$5$kelvantorium$2u3AsOqWew2omtN7JmY6UWH6ksvP8/jrRe.1l1lE556'
	list read 'kelvantorium-status'

config login
	option username 'messages'
	option password '$5$kelvantorium$WTIlXyn8CTpSbgVSQr8IfyP8dGBfM.IK8g/A.E4aNp4'
	list read 'kelvantorium-messages'
	list write 'kelvantorium-messages'

config login
	option username 'admin'
	option password '$5$kelvantorium$Tkdjbou8EAPnh6QLSu8LqJH4slJe5XxOy58o6OxsYh.'
	list read 'kelvantorium-*'
	list write 'kelvantorium-*'
)";

bool hasobject(const char *name)
{
    bus_client bus;
    return bus.has(name);
}

const part_row rows[router_partcount] = {
    {"log-collector", [] { return access("/dev/log", F_OK) == 0; }, "/dev/null"},
    {"ubusd", [] { return bus_client().connected(); }, "/dev/null"},
    {"network-service", [] { return hasobject("network.simulator"); }, "/dev/null"},
    {"modem-simulator", [] { return hasobject("simulator"); }, "/dev/null"},
    {"kelvantorium", [] { return hasobject("kelvantorium"); }, router_outpath},
    // Whoever connects before it accepts waits in the queue of the socket.
    {"web-server", [] { return true; }, router_weblogpath},
};

}  // namespace

router_parts::router_parts(const std::string &programs) : folder(programs)
{
    for (std::size_t number = 0; number < router_partcount; number++)
        processes[number].argv = {folder + "/" + rows[number].program};
#ifdef ROUTER_BROKER
    setcommand(router_part::broker, {ROUTER_BROKER});
#endif
}

router_parts::~router_parts()
{
    for (std::size_t number = router_partcount; number-- > 0;)
        kill(static_cast<router_part>(number));
}

router_parts::process &router_parts::at(router_part part)
{
    return processes[static_cast<std::size_t>(part)];
}

void router_parts::setcommand(router_part part, const std::vector<std::string> &argv)
{
    at(part).argv = argv;
}

void router_parts::setprofile(const std::string &text)
{
    write_file(router_profilepath, text);
    setcommand(router_part::modem, {folder + "/modem-simulator", "--profile", router_profilepath});
}

void router_parts::setlistener(int fd)
{
    write_file("/etc/config/rpcd", logins);
    setcommand(router_part::web, {folder + "/web-server", "--listen-fd", std::to_string(fd),
                                  "--www", folder + "/www", "--access", folder + "/access"});
    at(router_part::web).keep = fd;
}

bool router_parts::launch(router_part part)
{
    process &child = at(part);
    child.status.reset();
    child.pid = process_start(
        child.argv,
        {.out = rows[static_cast<std::size_t>(part)].out, .folder = folder, .keep = child.keep});
    return child.pid > 0;
}

bool router_parts::start(router_part part)
{
    const std::string program = rows[static_cast<std::size_t>(part)].program;
    const auto isready = rows[static_cast<std::size_t>(part)].isready;
    bool ready = false;
    if (launch(part)) wait_until([&] { return (ready = isready()) || !running(part); });
    if (ready && running(part)) return true;
    if (const auto status = at(part).status)
        errortext = program + " ended at once: " + process_endtext(*status);
    else
        errortext = program + " does not become ready";
    return false;
}

bool router_parts::running(router_part part)
{
    return at(part).pid > 0 && !waitend(part, 0ms);
}

std::optional<int> router_parts::waitend(router_part part, std::chrono::milliseconds limit)
{
    process &child = at(part);
    if (child.pid <= 0) return child.status;
    if (const auto status = process_wait(child.pid, limit)) {
        child.status = status;
        child.pid = -1;
        return status;
    }
    return {};
}

std::optional<int> router_parts::stop(router_part part, std::chrono::milliseconds limit)
{
    process &child = at(part);
    if (!running(part)) return child.status;
    child.status = process_stop(child.pid, SIGTERM, limit);
    child.pid = -1;
    return child.status;
}

std::optional<int> router_parts::kill(router_part part)
{
    process &child = at(part);
    if (!running(part)) return child.status;
    child.status = process_stop(child.pid, SIGKILL, 60s);
    child.pid = -1;
    return child.status;
}

pid_t router_parts::pid(router_part part) const
{
    return processes[static_cast<std::size_t>(part)].pid;
}
