// SPDX-License-Identifier: ISC
/*
 * What every part of the bus includes.
 */
#ifndef UBUS_COMMON_H
#define UBUS_COMMON_H

#include <libubox/utils.h>

#define UBUS_UNIX_SOCKET "/var/run/ubus/ubus.sock"

#endif
