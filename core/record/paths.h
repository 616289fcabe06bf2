// SPDX-License-Identifier: ISC
// The fixed places of the system that the daemon uses.
#pragma once

constexpr char modem_buspath[] = "/var/run/ubus/ubus.sock";
constexpr char modem_atportpath[] =
    "/dev/serial/by-id/"
    "usb-Marvell_Mobile_Composite_Device_Bus_200806006809080000-if04-port0";
constexpr char modem_secondportpath[] =
    "/dev/serial/by-id/"
    "usb-Marvell_Mobile_Composite_Device_Bus_200806006809080000-if05-port0";
constexpr char modem_smsfilepath[] = "/root/listsms.kelvantorium";
constexpr char modem_routepath[] = "/proc/net/route";
constexpr char modem_linkname[] = "usb0";
constexpr char modem_linkobject[] = "network.interface.usb0";
