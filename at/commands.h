// SPDX-License-Identifier: ISC
// Commands that more than one part of the daemon sends.
#pragma once

// Low power: radio off. Start of every initialisation, and the last word at shutdown.
constexpr char modem_lowpower[] = "AT+CFUN=0";

// Automatic network selection with long operator names; the poll repeats it while not registered.
constexpr char modem_copsauto[] = "AT+COPS=0,0";
constexpr char modem_copsautopurpose[] =
    "set auto network registration and long provider name format";
