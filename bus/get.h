// SPDX-License-Identifier: ISC
// The method `get`: the whole published status as one table. Event loop; never touches the modem.
#pragma once

#include <libubus.h>

int modem_get(ubus_context *ctx,
              ubus_object *obj,
              ubus_request_data *req,
              const char *method,
              blob_attr *msg);
