// SPDX-License-Identifier: ISC
// The methods `at_send` and `ussd_send`.
#include "bus/raw.h"

#include <cerrno>
#include <cstring>
#include <syslog.h>

#include "at/sendat.h"
#include "at/ussd.h"
#include "bus/request.h"
#include "core/record/command.h"
#include "core/record/flags.h"
#include "core/record/pmod.h"
#include "core/record/text.h"
#include "core/record/transition.h"

namespace
{

using modem_ussdgroup = decltype(modem_info::ussd);

int modem_replyanswer(const modem_request &request)
{
    char answer[256];
    modem_copytext(answer, modem_getreply(pmod));
    modem_beginreply();
    modem_addreply("result", "ok");
    modem_addreply("answer", answer);
    return modem_sendreply(request);
}

// Gives the request to the worker: group and flags first, the command last. 0, or -1 with errno and
// everything taken back.
int modem_orderussd(const modem_ussdgroup &group)
{
    const modem_ussdgroup former = pmod->working.info.ussd;
    const std::uint32_t wasready = modem_getflag(pmod->isussdready);
    const std::uint32_t wascopied = modem_getflag(pmod->isussdcopied);
    pmod->working.info.ussd = group;
    modem_setflag(pmod->isussdready, 0);
    modem_setflag(pmod->isussdcopied, 0);
    modem_setflag(pmod->isussdpending, 1);
    if (modem_sendcommand(pmod, modemcmdUssdAnswer) == 0) return 0;
    const int error = errno;
    modem_setflag(pmod->isussdpending, 0);
    modem_setflag(pmod->isussdcopied, wascopied);
    modem_setflag(pmod->isussdready, wasready);
    pmod->working.info.ussd = former;
    errno = error;
    return -1;
}

int modem_awaitanswer(const modem_request &request,
                      const char *client,
                      const char *code,
                      const char *command)
{
    modem_flushussd(pmod);
    modem_ussdgroup group = {};
    modem_copytext(group.cmd, code);
    modem_copytext(group.state, "running");
    modem_copytext(group.answer, "none");
    if (modem_orderussd(group) != 0) {
        modem_settransition(&pmod->published.info,
                            {.prevstate = "op",
                             .error = "fatal",
                             .priority = LOG_EMERG,
                             .detail = std::strerror(errno)},
                            "%s_client call ussd_send: write(modemcmdUssdAnswer) done error",
                            client);
        return modem_replyresult(request, "error: write(modemcmdUssdAnswer) done error");
    }
    pmod->published.info.ussd = group;  // the working one belongs to the worker now
    syslog(LOG_INFO, "%s_client call ussd_send: %s: done ok", client, command);
    return modem_replyresult(request, "ok");
}

int modem_startussd(const modem_request &request, const char *client, const char *code)
{
    char command[modem_commandmax];
    modem_settext(command, "AT+CUSD=1,\"%s\",15", code);
    const int result = modem_sendat(pmod, command, modem_atok, modem_attimeout, 1);
    if (result == modematOk) return modem_awaitanswer(request, client, code, command);
    if (result != modematFailed) return modem_replyresult(request, "error: got answer ERROR");
    modem_settransition(&pmod->published.info, {.prevstate = "op"},
                        "%s_client call ussd_send: %s: didn't get answer OK", client, command);
    return modem_replyresult(request, "error: %s: didn't get answer OK", command);
}

}  // namespace

int modem_atsend(
    ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *, blob_attr *msg)
{
    const modem_request request = {ctx, req};
    blob_attr *arguments[std::size(modem_atsendpolicy)];
    if (modem_refusemissing(request, modem_atsendpolicy, arguments, msg)) return 0;
    if (modem_refuseinit(request)) return 0;
    modem_argumenttext command;
    if (modem_refuseempty(request, "cmd", arguments[1], command)) return 0;
    modem_clientname client;
    if (modem_refuseclient(request, arguments[0], client)) return 0;
    const int result = modem_sendat(pmod, command, modem_atok, modem_attimeout, 1);
    if (!modem_issilent(result)) return modem_replyanswer(request);
    modem_info &info = pmod->published.info;
    modem_settransition(&info, {.prevstate = info.kelvantorium.state},
                        "%s_client call at_send: %s: didn't get answer", client, command);
    return modem_replyresult(request, "error: %s: didn't get answer", command);
}

int modem_ussdsend(
    ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *, blob_attr *msg)
{
    const modem_request request = {ctx, req};
    blob_attr *arguments[std::size(modem_ussdsendpolicy)];
    if (modem_refusemissing(request, modem_ussdsendpolicy, arguments, msg)) return 0;
    if (modem_refuseoffline(request)) return 0;
    if (modem_isword(pmod->published.info.ussd.state, "running"))
        return modem_replyresult(request, "error: info.ussd.state: running");
    char code[32];
    if (modem_refuseempty(request, "cmd", arguments[1], code)) return 0;
    modem_clientname client;
    if (modem_refuseclient(request, arguments[0], client)) return 0;
    // Whoever may send codes may not send commands: a quote and a line end would begin one.
    if (!modem_isquotable(code))
        return modem_replyresult(request, "error: cmd unsupported value: %s", code);
    return modem_startussd(request, client, code);
}
