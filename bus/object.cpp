// SPDX-License-Identifier: ISC
// The method table.
#include "bus/object.h"

#include <libubus.h>

#include "bus/get.h"
#include "bus/raw.h"
#include "config/methods.h"
#include "sms/methods.h"

namespace
{

constexpr char objectname[] = "kelvantorium";

const ubus_method methods[] = {
    UBUS_METHOD_NOARG("get", modem_get),
    UBUS_METHOD("sms_get", modem_smsget, modem_smsgetpolicy),
    UBUS_METHOD("sms_clear", modem_smsclear, modem_smsclearpolicy),
    UBUS_METHOD("at_send", modem_atsend, modem_atsendpolicy),
    UBUS_METHOD("ussd_send", modem_ussdsend, modem_ussdsendpolicy),
    UBUS_METHOD("sms_send", modem_smssend, modem_smssendpolicy),
    UBUS_METHOD("set", modem_set, modem_setpolicy),
    UBUS_METHOD("reinit", modem_reinit, modem_reinitpolicy),
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
    return ubus_add_object(ctx, &object);
}
