// SPDX-License-Identifier: ISC
// A daemon with shortened waits that has come to its first steady state, and its passes on the
// wire.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "tests/support/router.h"

// The prefix that puts tests/preload/calls.c between the daemon and the C library. `recorded`: time
// flies for it, and its calls are written down.
std::string watching(bool recorded = false);

// The `nth` call of that name that concerns `text`: "worker", a descriptor's target, a path, the
// octets written, or several of them in this order. An error of 0: see tests/preload/calls.c.
struct failing_call {
    std::string name;
    int error;
    std::string text = "";
    int nth = 1;
};

// Lets a call of the daemon that is watched fail once; whether that is still to come.
void fail(const failing_call &call);
bool isfailing();
// What a thread, "loop" or "worker", has asked of the system by calls of these names.
std::vector<std::string> recordedcalls(const std::string &thread,
                                       const std::set<std::string> &names);

// A call to the modem simulator.
struct condition {
    std::string method;
    bus_arguments arguments = {};
    bool isgivenup = false;  // the daemon does not wait long for the command of a fault
};

// What becomes of the commands that begin with `command`; `times` 0: of all. The first one with
// the fault "silence" is soon given up.
condition fault(const std::string &command,
                const std::string &kind,
                int times = 0,
                const std::string &text = "");
// A command that the modem keeps waiting; what it says unasked, or at last.
condition held(const char *command);
condition saying(const std::string &text, const char *port = "at");
// The exchange with a command that begins so will be given up soon.
void expect_silence(const std::string &command);

void arrange(virtual_router &router, const std::vector<condition> &conditions);
// The result of a call by a client whose name is one letter too long for the log.
std::string ask(virtual_router &router, const std::string &method, bus_arguments arguments = {});

// A message in the modem at that place; one in 7 bits of the ordinary sender.
void store(virtual_router &router, std::size_t index, const std::string &pdu);
std::string plainpdu(const std::string &text);

// The list file, which is whole at any moment once it is there.
struct entry {
    std::string number, timestamp, text;

    bool operator==(const entry &) const = default;
};
std::vector<entry> readlist();

// What the environment says; a seed that is not there is chosen, and either is printed.
long environment(const char *name, long ordinary);
unsigned seedof(const char *name);

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool issanitized = true;  // what was freed is kept
#else
inline constexpr bool issanitized = false;
#endif
inline const std::string caller = "fifteen letters_client call ";
inline constexpr char statepath[] = "info.kelvantorium.state";
inline constexpr char errorpath[] = "info.kelvantorium.error";

// What a steady pass sends without a usable card, without a network, and with both and a storage
// of two places.
inline const std::string watchpass = "AT+CADC=2 AT+CGNSSINFO";
inline const std::string lostpass = watchpass + " AT+COPS?";
inline const std::string fullpass = lostpass + " AT+CPSI? AT+CPMS? AT+CMGR=1 AT+CMGR=2";

class running_router : public virtual_router
{
public:
    explicit running_router(const router_setup &setup = {});

    // Waits for a full pass.
    bool settles();
    // Ordinary conditions, an initialisation with `slot`, and a full pass.
    void renew(const char *slot = "1");

    // A mark from which on commands() begins with the pass under way.
    router_mark passmark();
    // The complete passes since such a mark, repetitions left out. Waits for eight of them.
    std::vector<std::string> distinctpasses(const router_mark &since);
    // The last of those from now on.
    std::string steadypass();
    // Its usage between passes, which open descriptors for a moment.
    process_usage steadyusage();
    // It uses no more than then, but for so many KiB of private memory. Its usage now.
    process_usage expect_nomore(const process_usage &former, long growth);
    // Whether the modem hears nothing for several passes.
    bool isidle();
};

// The daemon has ended with this wait status, 0, and its log with these lines; without the worker's
// last one, which comes at whatever time, unless it is among them.
void expect_end(virtual_router &router,
                int status,
                const std::vector<std::string> &lines,
                const router_mark &since = {});

// Waits for a transition ("op->error") and checks its words and its line in the log, which may say
// more (`detail`).
void expect_transition(virtual_router &router,
                       const router_mark &since,
                       const std::string &states,
                       const std::string &error,
                       const std::string &reason,
                       const std::string &detail = "");
