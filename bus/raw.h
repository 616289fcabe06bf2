// SPDX-License-Identifier: ISC
// The methods `at_send` and `ussd_send`: the modem at first hand. Event loop.
#pragma once

#include <libubus.h>

inline constexpr blobmsg_policy modem_atsendpolicy[] = {
    {"client", BLOBMSG_TYPE_STRING},
    {"cmd", BLOBMSG_TYPE_STRING},
};
inline constexpr blobmsg_policy modem_ussdsendpolicy[] = {
    {"client", BLOBMSG_TYPE_STRING},
    {"cmd", BLOBMSG_TYPE_STRING},
};

// Handlers, always 0. Each blocks for one exchange, up to 15 s.
int modem_atsend(ubus_context *ctx,
                 ubus_object *obj,
                 ubus_request_data *req,
                 const char *method,
                 blob_attr *msg);
int modem_ussdsend(ubus_context *ctx,
                   ubus_object *obj,
                   ubus_request_data *req,
                   const char *method,
                   blob_attr *msg);
