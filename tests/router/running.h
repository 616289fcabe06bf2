// A daemon with shortened waits that has come to its first steady state, and its passes on the
// wire.
#pragma once

#include <string>
#include <vector>

#include "tests/support/router.h"

struct running_setup {
    std::string config = router_defaultconfig;
    const char *timeout = nullptr;   // ms, of every exchange; null: the real one
    const char *interval = nullptr;  // ms between passes; null: 20
    bool network = true;             // there is a network service
    bool settled = true;             // wait for full passes
};

// A call to the modem simulator.
struct condition {
    std::string method;
    bus_arguments arguments = {};
};

// What a steady pass sends without a usable card, and with a storage of two places.
inline const std::string watchpass = "AT+CADC=2 AT+CGNSSINFO";
inline const std::string fullpass = watchpass + " AT+COPS? AT+CPSI? AT+CPMS? AT+CMGR=1 AT+CMGR=2";

class running_router : public virtual_router
{
public:
    explicit running_router(const running_setup &setup = {});

    // Waits for a full pass.
    bool settles();
    // Ordinary conditions, an initialisation with `slot`, and a full pass.
    void renew(const char *slot = "1");

    // A mark from which on commands() begins with the pass under way.
    router_mark passmark();
    // The complete passes since such a mark, repetitions left out. Waits for eight of them.
    std::vector<std::string> distinctpasses(const router_mark &since);
    // Whether the modem hears nothing for several passes.
    bool isidle();
    // The result of a call made after the cable was pulled and before a pass noticed.
    std::string callunplugged(const std::string &method, const bus_arguments &arguments);

private:
    std::vector<std::string> passes(const router_mark &since);
};

// Waits for a transition and checks its words and its line in the log.
void expect_transition(running_router &router,
                       const router_mark &since,
                       const std::string &prevstate,
                       const std::string &state,
                       const std::string &error,
                       const std::string &reason);
