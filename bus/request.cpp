// SPDX-License-Identifier: ISC
// Requests and replies of the bus methods.
#include "bus/request.h"

#include <cstdarg>

#include "core/record/pmod.h"

namespace
{

blob_buf reply{};

// Splits the message. False when a field of it is malformed or reaches beyond its end; the library
// stops at the latter in silence, and takes a message without fields for a fault.
bool modem_parse(std::span<const blobmsg_policy> policy, blob_attr **arguments, blob_attr *msg)
{
    const int result = blobmsg_parse(policy.data(), static_cast<int>(policy.size()), arguments,
                                     blob_data(msg), static_cast<unsigned>(blob_len(msg)));
    blob_attr *field = nullptr;
    std::size_t rest = 0;
    blob_for_each_attr(field, msg, rest) {}
    return blob_len(msg) == 0 || (result == 0 && rest == 0);
}

}  // namespace

int modem_preparereply()
{
    static constexpr char filler[64] = {};
    if (blob_buf_init(&reply, 0) != 0) return -1;
    for (unsigned size = 0; size < modem_replymax; size += sizeof(filler)) {
        if (blobmsg_add_field(&reply, BLOBMSG_TYPE_UNSPEC, "", filler, sizeof(filler)) != 0)
            return -1;
    }
    return 0;
}

void modem_beginreply()
{
    (void)blob_buf_init(&reply, 0);
}

void modem_addreply(const char *name, const char *text)
{
    (void)blobmsg_add_string(&reply, name, text);
}

void *modem_opentable(const char *name)
{
    return blobmsg_open_table(&reply, name);
}

void modem_closetable(void *table)
{
    blobmsg_close_table(&reply, table);
}

int modem_sendreply(const modem_request &request)
{
    (void)ubus_send_reply(request.ctx, request.req, reply.head);  // the client may be gone
    return 0;
}

void modem_sendnotification(ubus_context *ctx, ubus_object *object, const char *type)
{
    (void)ubus_notify(ctx, object, type, reply.head, -1);  // a lost broker ends the daemon anyway
}

int modem_replyresult(const modem_request &request, const char *format, ...)
{
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    (void)std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    modem_beginreply();
    modem_addreply("result", text);
    return modem_sendreply(request);
}

bool modem_refusemissing(const modem_request &request,
                         std::span<const blobmsg_policy> policy,
                         std::size_t required,
                         blob_attr **arguments,
                         blob_attr *msg)
{
    if (msg == nullptr) {
        modem_replyresult(request, "error: msg is nil");
        return true;
    }
    if (!modem_parse(policy, arguments, msg)) {
        modem_replyresult(request, "error: msg is damaged");
        return true;
    }
    for (std::size_t i = 0; i < required; i++) {
        if (arguments[i] != nullptr) continue;
        modem_replyresult(request, "error: msg has no %s", policy.data()[i].name);
        return true;
    }
    return false;
}

bool modem_refuseinit(const modem_request &request)
{
    if (std::string_view(pmod->published.info.kelvantorium.state) != "init") return false;
    modem_replyresult(request, "error: info.kelvantorium.state: init");
    return true;
}

bool modem_refuseoffline(const modem_request &request)
{
    const modem_info &info = pmod->published.info;
    if (std::string_view(info.kelvantorium.state) != "op") {
        modem_replyresult(request, "error: info.kelvantorium.state: %s", info.kelvantorium.state);
        return true;
    }
    if (std::string_view(info.network.state) == "disconnected") {
        modem_replyresult(request, "error: info.network.state: disconnected");
        return true;
    }
    return false;
}

bool modem_refuseempty(const modem_request &request,
                       const char *name,
                       const blob_attr *argument,
                       modem_field field)
{
    modem_copytext(field, blobmsg_get_string(const_cast<blob_attr *>(argument)));
    if (field.text[0] != '\0') return false;
    modem_replyresult(request, "error: %s is empty", name);
    return true;
}

bool modem_refuseclient(const modem_request &request,
                        const blob_attr *argument,
                        modem_clientname &client)
{
    if (modem_refuseempty(request, "client", argument, client)) return true;
    modem_maskcontrols(client);
    return false;
}
