// SPDX-License-Identifier: ISC
// Building outgoing messages: the recipient list and the SMS-SUBMIT as hexadecimal text.
//
// Pure but for trace lines; any thread.
#pragma once

#include "core/record/limits.h"

constexpr unsigned modem_addressmax = 64;  // characters of an address field, NUL included
constexpr unsigned modem_pdumax = 512;     // characters of a PDU, Ctrl-Z and NUL included

// Splits a list at ';' into single numbers, in order, empty items left out; at most five. The
// number of recipients stored; the first octet of every other field is NUL.
int modem_splitsmsnumbers(const modem_argumenttext &list,
                          modem_argumenttext (&numbers)[modem_smsnumbersmax]);

// Writes the TP-DA of a phone number: count of digits, type of address (91 when `international`,
// else 81), digits in semi-octets; characters that are no digits are dropped. 0, or -1 with the
// field empty when it cannot hold that many digits.
int modem_getdafield(const char *phone, char (&field)[modem_addressmax], bool international);

// Builds the PDU of a CP1251 text, always UCS2 and to an international number, and gives the
// length for AT+CMGS: octets without the service-centre address. 0, or -1 when the number does not
// fit. The modem judges a text of more than 70 characters.
int modem_getpdupack(const char *number,
                     const modem_argumenttext &text,
                     char (&pdu)[modem_pdumax],
                     int &length);
