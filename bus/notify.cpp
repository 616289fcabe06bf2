// SPDX-License-Identifier: ISC
// Notifications: the report compared with what subscribers know, and the new messages.
#include "bus/notify.h"

#include "bus/get.h"
#include "bus/request.h"
#include "core/record/text.h"

namespace
{

// `known` null: everything.
void modem_notifystatus(modem_state *pmod, ubus_object *object, const modem_status *known)
{
    modem_beginreply();
    if (modem_addreport(pmod->published, known) == 0) return;
    modem_sendnotification(pmod->ubusctx, object, "status");
    pmod->notified = pmod->published;
}

void modem_notifysms(modem_state *pmod, ubus_object *object)
{
    char text[sizeof(modem_info::sms.recv_counter)];
    const std::uint32_t last = static_cast<std::uint32_t>(pmod->sms_list.numsms);
    modem_settext(text, "%u", static_cast<unsigned>(last));
    // A pass that failed on the way has not published the counter, and `sms_get` serves no message
    // above it: then the id waits, too.
    if (!modem_isword(text, pmod->published.info.sms.recv_counter)) return;
    for (; pmod->untoldsms > 0; pmod->untoldsms--) {
        // The difference may wrap: 2^32 is a multiple of the ring's size.
        static_assert((modem_smslistmax & (modem_smslistmax - 1)) == 0);
        modem_settext(text, "%u", (last - pmod->untoldsms) % modem_smslistmax + 1);
        modem_beginreply();
        modem_addreply("id", text);
        modem_sendnotification(pmod->ubusctx, object, "sms");
    }
}

}  // namespace

void modem_notifychanges(modem_state *pmod, ubus_object *object)
{
    if (!object->has_subscribers) return;
    modem_notifystatus(pmod, object, &pmod->notified);
    modem_notifysms(pmod, object);
}

void modem_notifyall(modem_state *pmod, ubus_object *object)
{
    modem_notifystatus(pmod, object, nullptr);
    modem_notifysms(pmod, object);
}

void modem_forgetuntold(modem_state *pmod, const ubus_object *object)
{
    if (!object->has_subscribers) pmod->untoldsms = 0;
}
