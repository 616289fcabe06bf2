// SPDX-License-Identifier: ISC
// The methods `sms_get`, `sms_clear` and `sms_send`.
#include "sms/methods.h"

#include <syslog.h>

#include "at/sendat.h"
#include "bus/request.h"
#include "core/record/cursor.h"
#include "core/record/flags.h"
#include "core/record/pmod.h"
#include "core/record/text.h"
#include "core/record/transition.h"
#include "sms/list.h"
#include "sms/send.h"
#include "sms/submit.h"

namespace
{

// A number as "%u" reads it; 0 for text that is none.
std::uint32_t modem_readcount(const char *text)
{
    std::uint32_t value = 0;
    (void)modem_readnumber(std::string_view(text), value);  // keeps the 0
    return value;
}

int modem_replyentry(const modem_request &request, const char *id, const sms_entry &entry)
{
    modem_beginreply();
    modem_addreply("result", "ok");
    modem_addreply("id", id);
    modem_addreply("number", entry.phone);
    modem_addreply("timestamp", entry.timestamp);
    modem_addreply("text", entry.text);
    return modem_sendreply(request);
}

// Sends to every number. 0, 1 when a send failed, -1 when one could not be made: it was the last.
int modem_sendtoall()
{
    int result = 0;
    const int count = modem_splitsmsnumbers(pmod->sms_number, pmod->sms_numbers);
    for (int i = 0; i < count; i++) {
        const int sent = modem_sendsmsinpdu(pmod, pmod->sms_numbers[i], modem_attimeout);
        if (sent == modematFailed) return -1;
        if (sent != modematOk) result = 1;
    }
    return result;
}

int modem_sendall(const modem_request &request, const char *client)
{
    switch (modem_sendtoall()) {
        case -1:
            modem_settransition(&pmod->published.info, {.prevstate = "op"},
                                "%s_client call sms_send: modem_sendsmsinpdu() done error", client);
            return modem_replyresult(request, "error: modem_sendsmsinpdu() done error");
        case 0:
            syslog(LOG_INFO, "%s_client call sms_send: \"%s\" done ok", client, pmod->sms_number);
            return modem_replyresult(request, "ok");
        default:
            return modem_replyresult(request, "error: got answer ERROR");
    }
}

}  // namespace

int modem_smsget(
    ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *, blob_attr *msg)
{
    const modem_request request = {ctx, req};
    blob_attr *arguments[std::size(modem_smsgetpolicy)];
    if (modem_refusemissing(request, modem_smsgetpolicy, arguments, msg)) return 0;
    char id[4];
    if (modem_refuseempty(request, "id", arguments[0], id)) return 0;
    const std::uint32_t position = modem_readcount(id);
    if (position == 0 || position > modem_smslistmax)
        return modem_replyresult(request, "error: id unsupported value: %s", id);
    const char *counter = pmod->published.info.sms.recv_counter;
    if (position > modem_readcount(counter)) {
        return modem_replyresult(request, "error: id: %s > info.sms.recv_counter: %s", id, counter);
    }
    return modem_replyentry(request, id, pmod->sms_list.entries[position - 1]);
}

int modem_smsclear(
    ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *, blob_attr *msg)
{
    const modem_request request = {ctx, req};
    blob_attr *arguments[std::size(modem_smsclearpolicy)];
    if (modem_refusemissing(request, modem_smsclearpolicy, arguments, msg)) return 0;
    modem_clientname client;
    if (modem_refuseclient(request, arguments[0], client)) return 0;
    pmod->sms_list.numsms = 0;
    pmod->untoldsms = 0;
    (void)modem_savelistsms(pmod);  // traced; the next save makes up for it
    // The working copy is to be published whole: it must not bring the old count back. The poll
    // writes the count anew before it copies, so this order holds on its own.
    if (modem_getflag(pmod->isstatuscopied) == 0)
        modem_settext(pmod->working.info.sms.recv_counter, "%u", 0U);
    modem_settext(pmod->published.info.sms.recv_counter, "%u", 0U);
    syslog(LOG_INFO, "%s_client call sms_clear: done ok", client);
    return modem_replyresult(request, "ok");
}

int modem_smssend(
    ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *, blob_attr *msg)
{
    const modem_request request = {ctx, req};
    blob_attr *arguments[std::size(modem_smssendpolicy)];
    if (modem_refusemissing(request, modem_smssendpolicy, arguments, msg)) return 0;
    if (modem_refuseoffline(request)) return 0;
    if (modem_refuseempty(request, "text", arguments[2], pmod->sms_text)) return 0;
    if (modem_refuseempty(request, "number", arguments[1], pmod->sms_number)) return 0;
    modem_clientname client;
    if (modem_refuseclient(request, arguments[0], client)) return 0;
    modem_maskcontrols(pmod->sms_number);  // it is logged; only its digits are sent
    return modem_sendall(request, client);
}
