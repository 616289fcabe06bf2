// SPDX-License-Identifier: ISC
// Sizes that more than one module goes by.
#pragma once

constexpr unsigned modem_atreplymax = 560;    // characters of one reply of the modem
constexpr unsigned modem_argumentmax = 80;    // characters kept of a client's long texts
constexpr unsigned modem_smslistmax = 32;     // messages kept
constexpr unsigned modem_smspartsmax = 6;     // parts of a long message that are kept
constexpr unsigned modem_smspartmax = 160;    // characters of one part, TS 23.040
constexpr unsigned modem_longsmsmax = 5;      // long messages whose parts wait at a time
constexpr unsigned modem_smsnumbersmax = 5;   // recipients of one request
constexpr unsigned modem_pduoctetsmax = 231;  // octets of a received PDU that are looked at

// Texts that pass between modules, NUL included.
using modem_argumenttext = char[modem_argumentmax + 1];
using modem_replytext = char[modem_atreplymax + 1];
using modem_parttext = char[modem_smspartmax + 1];
using modem_smstext = char[modem_smspartsmax * modem_smspartmax + 1];
