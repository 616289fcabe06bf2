// SPDX-License-Identifier: ISC
// Sending one message.
#pragma once

struct modem_state;

// Sends `sms_text` to one number: AT+CMGS, then the PDU after the prompt, `timeout` ms each. The
// result of the last exchange as modem_sendat; modematError also when the number does not fit.
// Event loop.
int modem_sendsmsinpdu(modem_state *pmod, const char *number, unsigned timeout);
