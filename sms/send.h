// SPDX-License-Identifier: ISC
// Sending one message.
#pragma once

struct modem_state;

// Sends `sms_text` to one number: AT+CMGS, then the PDU after the prompt, `timeout` ms each. 0, or
// the result of the failed exchange as modem_sendat; 2 also when the number does not fit. Event
// loop.
int modem_sendsmsinpdu(modem_state *pmod, const char *number, unsigned timeout);
