// SPDX-License-Identifier: ISC
// JSON-RPC 2.0 over the bus, as the router's web server answers it at /ubus.
#pragma once

#include <string>

#include "simulator/web/session.h"

// Answers the body of a POST, a request or a batch of them. Strings pass as octets both ways.
std::string rpc_answer(web_sessions &sessions, const std::string &body);
