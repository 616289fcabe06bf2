// SPDX-License-Identifier: ISC
// The method table, and when subscribers are told.
#include "bus/object.h"

#include <libubus.h>

#include "bus/get.h"
#include "bus/notify.h"
#include "bus/raw.h"
#include "config/methods.h"
#include "core/record/pmod.h"
#include "sms/methods.h"

namespace
{

constexpr char objectname[] = "kelvantorium";

// A method that may change something: its reply, then the notification, then the end of the call.
// Whoever has called knows when the call is over that subscribers have been told.
template <modem_handler handler>
int modem_telling(ubus_context *ctx,
                  ubus_object *object,
                  ubus_request_data *req,
                  const char *method,
                  blob_attr *msg)
{
    const int result = handler(ctx, object, req, method, msg);
    modem_notifychanges(pmod, object);
    return result;
}

void modem_onsubscribers(ubus_context *, ubus_object *object)
{
    if (object->has_subscribers) modem_notifyall(pmod, object);
}

const ubus_method methods[] = {
    UBUS_METHOD_NOARG("get", modem_get),
    UBUS_METHOD("sms_get", modem_smsget, modem_smsgetpolicy),
    UBUS_METHOD("sms_clear", modem_telling<modem_smsclear>, modem_smsclearpolicy),
    UBUS_METHOD("at_send", modem_telling<modem_atsend>, modem_atsendpolicy),
    UBUS_METHOD("ussd_send", modem_telling<modem_ussdsend>, modem_ussdsendpolicy),
    UBUS_METHOD("sms_send", modem_telling<modem_smssend>, modem_smssendpolicy),
    UBUS_METHOD("set", modem_telling<modem_set>, modem_setpolicy),
    UBUS_METHOD("reinit", modem_telling<modem_reinit>, modem_reinitpolicy),
};

ubus_object_type objecttype = UBUS_OBJECT_TYPE(objectname, methods);
ubus_object object{};

}  // namespace

int modem_addobject(ubus_context *ctx)
{
    object.name = objectname;
    object.type = &objecttype;
    object.methods = methods;
    object.n_methods = ARRAY_SIZE(methods);
    object.subscribe_cb = modem_onsubscribers;
    return ubus_add_object(ctx, &object);
}

void modem_beginchanges(modem_state *record)
{
    modem_forgetuntold(record, &object);
}

void modem_tellchanges(modem_state *record)
{
    modem_notifychanges(record, &object);
}
