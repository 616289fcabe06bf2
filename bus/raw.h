// SPDX-License-Identifier: ISC
// The methods `at_send` and `ussd_send`: the modem at first hand. Event loop.
#pragma once

#include "bus/request.h"

inline constexpr blobmsg_policy modem_atsendpolicy[] = {
    {"client", BLOBMSG_TYPE_STRING},
    {"cmd", BLOBMSG_TYPE_STRING},
};
inline constexpr blobmsg_policy modem_ussdsendpolicy[] = {
    {"client", BLOBMSG_TYPE_STRING},
    {"cmd", BLOBMSG_TYPE_STRING},
};

// Handlers, always 0. Each blocks for one exchange, up to 15 s.
modem_handler modem_atsend;
modem_handler modem_ussdsend;
