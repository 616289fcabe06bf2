// SPDX-License-Identifier: ISC
// The event stream of an object's notifications, as the router's web server gives it at
// /ubus/subscribe/OBJECT.
#pragma once

#include <httplib.h>

#include "simulator/web/session.h"

// 403 without the grant ":subscribe" of the session that the request bears, 404 without the object.
void stream_answer(web_sessions &sessions,
                   const httplib::Request &request,
                   httplib::Response &response);
