// SPDX-License-Identifier: ISC
// The methods `set` and `reinit`: clients order a fresh initialisation. Event loop.
#pragma once

#include "bus/request.h"

inline constexpr blobmsg_policy modem_setpolicy[] = {
    {"client", BLOBMSG_TYPE_STRING},
    {"modem_slot", BLOBMSG_TYPE_STRING},
    {"modem_rs485_pull", BLOBMSG_TYPE_STRING},
    {"modem_gnss_power", BLOBMSG_TYPE_STRING},
    {"modem_gnss_mode", BLOBMSG_TYPE_STRING},
    {"modem_network_type", BLOBMSG_TYPE_STRING},
    {"modem_network_iptype", BLOBMSG_TYPE_STRING},
    {"modem_network_iparea", BLOBMSG_TYPE_STRING},
    {"modem_network_apn", BLOBMSG_TYPE_STRING},
};
inline constexpr blobmsg_policy modem_reinitpolicy[] = {
    {"client", BLOBMSG_TYPE_STRING},
};

// Handlers; 0, but -1 of modem_set when no configuration context can be had.
modem_handler modem_set;
modem_handler modem_reinit;
