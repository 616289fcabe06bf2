// SPDX-License-Identifier: ISC
// The methods `sms_get`, `sms_clear` and `sms_send`. Event loop. Texts are CP1251 both ways.
#pragma once

#include "bus/request.h"

inline constexpr blobmsg_policy modem_smsgetpolicy[] = {
    {"id", BLOBMSG_TYPE_STRING},
};
inline constexpr blobmsg_policy modem_smsclearpolicy[] = {
    {"client", BLOBMSG_TYPE_STRING},
};
inline constexpr blobmsg_policy modem_smssendpolicy[] = {
    {"client", BLOBMSG_TYPE_STRING},
    {"number", BLOBMSG_TYPE_STRING},
    {"text", BLOBMSG_TYPE_STRING},
};

// Handlers, always 0. `sms_send` blocks for its exchanges: up to 30 s for each of five numbers.
modem_handler modem_smsget;
modem_handler modem_smsclear;
modem_handler modem_smssend;
