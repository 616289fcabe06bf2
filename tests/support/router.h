// SPDX-License-Identifier: ISC
// The daemon under test in the virtual router, one fresh set of processes per object.
//
// Programs linked with this library run inside the sandbox (its main() enters it), so everything
// lies at its true place. Environment: VIRTUAL_ROUTER_DAEMON names another daemon to test, and
// VIRTUAL_ROUTER_PREFIX what is put in front of it, an emulator for instance.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "simulator/router/bus.h"
#include "simulator/router/parts.h"
#include "simulator/router/process.h"

struct router_setup {
    std::string config = router_defaultconfig;  // empty: there is no package
    std::string daemon = "kelvantorium";        // in the build folder, or an absolute path
    std::string prefix = {};                    // words put in front of it
    std::string profile = {};                   // text of the modem's; empty: the ordinary one
    bool broker = true;                         // without it only the log
    bool network = true;
    bool start = true;    // the daemon, at once
    bool settled = true;  // a running_router waits for full passes
};

// Places in the outputs, to ask for what came later.
struct router_mark {
    std::size_t log = 0;
    std::size_t out = 0;
    std::size_t command = 0;
};

struct process_usage {
    double seconds = 0;  // of processor time
    long resident = 0;   // KiB
    long anonymous = 0;  // KiB of it that no file holds
    long descriptors = 0;
    long threads = 0;
};

class virtual_router
{
public:
    // Starts the parts in order; a part that fails makes the running test fail.
    explicit virtual_router(const router_setup &setup = {});
    // Kills everything. The running test fails if the daemon has ended by itself unasked.
    ~virtual_router();

    router_parts parts;

    bool startdaemon();
    // SIGTERM and the orderly shutdown; the wait status, 0 when all is well.
    int stopdaemon();
    // Waits until the daemon ends by itself; the wait status, -1 when it does not.
    int waitdaemon();
    void killdaemon();

    // Calls to the daemon, to the modem simulator and to the network service's steering object.
    bus_reply call(const std::string &method, const bus_arguments &arguments = {});
    bus_reply modem(const std::string &method, const bus_arguments &arguments = {});
    bus_reply network(const std::string &method, const bus_arguments &arguments = {});
    // The connection, made anew after the broker was restarted.
    bus_client &bus();

    // One value of the status tree, and waiting for it.
    std::string status(const std::string &path);
    bool becomes(const std::string &path, const std::string &value);

    router_mark mark();
    // The daemon's log lines since the mark, "info main: start".
    std::vector<std::string> log(const router_mark &since = {});
    bool logs(const std::string &line, const router_mark &since = {});  // waits for it
    // The lines of its standard output.
    std::vector<std::string> out(const router_mark &since = {});
    // AT commands that the modem has received.
    std::vector<std::string> commands(const router_mark &since = {});
    bool receives(const std::string &command, const router_mark &since = {});  // waits for it

    process_usage usage();

private:
    bool startpart(router_part part);
    void report();

    std::unique_ptr<bus_client> client;
    bool endexpected = true;
};

// The lines of a text.
std::vector<std::string> lines_of(const std::string &text);
