// SPDX-License-Identifier: ISC
// The methods `set` and `reinit`.
#include "config/methods.h"

#include <cerrno>
#include <cstring>
#include <syslog.h>

#include <uci.h>

#include "bus/request.h"
#include "config/options.h"
#include "config/settings.h"
#include "core/record/command.h"
#include "core/record/flags.h"
#include "core/record/pmod.h"
#include "core/record/text.h"
#include "core/record/transition.h"
#include "monitor/defaults.h"
#include "monitor/link.h"

namespace
{

constexpr unsigned argumentcount = std::size(modem_setpolicy);

// An option's argument is found by the option's place.
constexpr bool modem_areparallel()
{
    if (argumentcount != 1 + modem_optioncount) return false;
    if (std::string_view(modem_setpolicy[0].name) != "client") return false;
    for (unsigned i = 0; i < modem_optioncount; i++) {
        if (std::string_view(modem_setpolicy[1 + i].name) != modem_options[i].argument)
            return false;
    }
    return true;
}

static_assert(modem_areparallel(), "`set` has the client, then the options in their order");

bool modem_isanygiven(blob_attr *const (&arguments)[argumentcount])
{
    for (unsigned i = 0; i < modem_optioncount; i++) {
        if (arguments[1 + i] != nullptr) return true;
    }
    return false;
}

// Cuts and checks every argument given, into `values`. True when one is refused.
bool modem_refusevalues(const modem_request &request,
                        blob_attr *const (&arguments)[argumentcount],
                        modem_settings &values)
{
    for (unsigned i = 0; i < modem_optioncount; i++) {
        const modem_option &option = modem_options[i];
        if (arguments[1 + i] == nullptr) continue;
        const modem_field value = option.field(values);
        modem_copytext(value, blobmsg_get_string(arguments[1 + i]));
        if (value.text[0] == '\0') {
            if (option.whenempty == nullptr) {
                modem_replyresult(request, "error: %s is empty", option.argument);
                return true;
            }
            modem_copytext(value, option.whenempty);
        }
        if (!modem_isaccepted(option, value.text)) {
            modem_replyresult(request, "error: %s unsupported value: %s", option.argument,
                              value.text);
            return true;
        }
    }
    return false;
}

// Writes the given values; those of options with a presence flag only where it is raised.
void modem_writevalues(uci_context *context,
                       blob_attr *const (&arguments)[argumentcount],
                       modem_settings &values)
{
    bool changed = false;
    for (unsigned i = 0; i < modem_optioncount; i++) {
        const modem_option &option = modem_options[i];
        if (arguments[1 + i] == nullptr) continue;
        if (option.flag != nullptr && *option.flag(pmod->working.settings) == 0) continue;
        if (modem_setoption(context, option, option.field(values).text)) changed = true;
    }
    if (changed) modem_commitoptions(context);
}

// Records that the initialisation could not be ordered, for a cause on this side of the modem.
int modem_failcall(const modem_request &request,
                   const char *client,
                   const char *method,
                   const char *failed,
                   const char *detail)
{
    modem_info &info = pmod->published.info;
    modem_settransition(&info,
                        {.prevstate = info.kelvantorium.state,
                         .error = "fatal",
                         .priority = LOG_EMERG,
                         .detail = detail},
                        "%s_client call %s: %s done error", client, method, failed);
    return modem_replyresult(request, "error: %s done error", failed);
}

// Hands an initialisation over to the worker and shows it to clients.
int modem_orderinit(const modem_request &request, const char *client, const char *method)
{
    const std::uint32_t wasstatuscopied = modem_getflag(pmod->isstatuscopied);
    modem_setflag(pmod->isstatuscopied, 0);
    modem_setflag(pmod->isinitpending, 1);
    if (modem_sendcommand(pmod, modemcmdInit) != 0) {
        const int error = errno;
        modem_setflag(pmod->isinitpending, 0);
        modem_setflag(pmod->isstatuscopied, wasstatuscopied);
        return modem_failcall(request, client, method, "write(modemcmdInit)", std::strerror(error));
    }
    modem_ltedown(pmod);
    modem_setflag(pmod->isltedown, 1);
    (void)modem_setstatusdefaults(pmod->published);
    modem_info &info = pmod->published.info;
    modem_settransition(&info,
                        {.prevstate = info.kelvantorium.state,
                         .state = "init",
                         .error = "none",
                         .priority = LOG_INFO},
                        "%s_client call %s: done ok", client, method);
    return modem_replyresult(request, "ok");
}

}  // namespace

int modem_set(
    ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *method, blob_attr *msg)
{
    const modem_request request = {ctx, req};
    blob_attr *arguments[argumentcount];
    if (modem_refusemissing(request, modem_setpolicy, 1, arguments, msg)) return 0;
    if (!modem_isanygiven(arguments))
        return modem_replyresult(request, "error: msg has no settings");
    modem_settings values = {};
    if (modem_refusevalues(request, arguments, values)) return 0;
    if (modem_refuseinit(request)) return 0;
    modem_clientname client;
    if (modem_refuseclient(request, arguments[0], client)) return 0;
    uci_context *context = uci_alloc_context();
    if (context == nullptr) {
        (void)modem_failcall(request, client, method, "uci_alloc_context()", nullptr);
        return -1;
    }
    modem_writevalues(context, arguments, values);
    uci_free_context(context);
    return modem_orderinit(request, client, method);
}

int modem_reinit(
    ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *method, blob_attr *msg)
{
    const modem_request request = {ctx, req};
    blob_attr *arguments[std::size(modem_reinitpolicy)];
    if (modem_refusemissing(request, modem_reinitpolicy, arguments, msg)) return 0;
    if (modem_refuseinit(request)) return 0;
    modem_clientname client;
    if (modem_refuseclient(request, arguments[0], client)) return 0;
    return modem_orderinit(request, client, method);
}
