// SPDX-License-Identifier: ISC
#include "simulator/membership.h"

#include <libubus.h>

#include "core/record/paths.h"

namespace
{

constexpr int retrypause = 50;  // ms

ubus_context *member;
bool (*offerobjects)(ubus_context &bus);
uloop_timeout retry;

void lose(ubus_context *)
{
    (void)uloop_timeout_set(&retry, retrypause);
}

bool join()
{
    leave_bus();
    member = ubus_connect(modem_buspath);
    if (member == nullptr) return false;
    member->connection_lost = lose;
    (void)uloop_fd_add(&member->sock, ULOOP_READ | ULOOP_BLOCKING);
    return offerobjects(*member);
}

void rejoin(uloop_timeout *)
{
    if (!join()) lose(member);
}

}  // namespace

bool join_bus(bool (*offer)(ubus_context &bus))
{
    offerobjects = offer;
    retry.cb = rejoin;
    return join();
}

void leave_bus()
{
    if (member != nullptr) ubus_free(member);
    member = nullptr;
}
