// SPDX-License-Identifier: ISC
// The two-step exchange that sends a PDU.
#include "sms/send.h"

#include "at/sendat.h"
#include "core/record/state.h"
#include "core/record/text.h"
#include "core/record/trace.h"
#include "sms/submit.h"

namespace
{

constexpr char endofpdu = 0x1A;  // Ctrl-Z

}  // namespace

int modem_sendsmsinpdu(modem_state *pmod, const char *number, unsigned timeout)
{
    char pdu[modem_pdumax];
    int length = 0;
    if (modem_getpdupack(number, pmod->sms_text, pdu, length) != 0) return modematError;
    modem_trace("modem_sendsmsinpdu: PDU-pack: %s\n", pdu);
    modem_trace("modem_sendsmsinpdu: PDU length without SCA: %d\n", length);
    char command[modem_commandmax];
    modem_settext(command, "AT+CMGS=%d", length);
    const int result = modem_sendat(pmod, command, ">", timeout, 1);
    if (result != modematOk) return result;
    char ended[modem_pdumax];
    modem_settext(ended, "%s%c", pdu, endofpdu);
    return modem_sendat(pmod, ended, modem_atok, timeout, 1);
}
