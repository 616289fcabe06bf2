// SPDX-License-Identifier: ISC
// The bus object "simulator": its methods in one table, and their common frame.
#include "simulator/modem/control.h"

#include <cstdio>
#include <vector>

namespace simulator
{
namespace
{

device *steered;  // by the one object of this process

blob_attr *find(blob_attr *message, const char *name)
{
    const blobmsg_policy any = {name, BLOBMSG_TYPE_UNSPEC};
    blob_attr *found = nullptr;
    // An empty message is no error: nothing is found in it.
    (void)blobmsg_parse(&any, 1, &found, blob_data(message),
                        static_cast<unsigned>(blob_len(message)));
    return found;
}

std::vector<method> allmethods()
{
    std::vector<method> all;
    for (const auto part : {conditionmethods(), messagemethods(), reportmethods()})
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

int dispatch(ubus_context *bus,
             ubus_object *,
             ubus_request_data *request,
             const char *name,
             blob_attr *message)
{
    static blob_buf reply;
    static const std::vector<method> all = allmethods();
    for (const method &row : all) {
        if (std::string_view(name) != row.name) continue;
        (void)blob_buf_init(&reply, 0);
        steered->model.now = clocknow();
        const int status = row.run(*steered, {message}, reply);
        pump(*steered);
        return status == UBUS_STATUS_OK ? ubus_send_reply(bus, request, reply.head) : status;
    }
    return UBUS_STATUS_METHOD_NOT_FOUND;
}

}  // namespace

std::optional<std::string> arguments::text(const char *name) const
{
    blob_attr *found = find(message, name);
    if (found == nullptr || blobmsg_type(found) != BLOBMSG_TYPE_STRING) return std::nullopt;
    return blobmsg_get_string(found);
}

std::optional<std::int64_t> arguments::number(const char *name) const
{
    blob_attr *found = find(message, name);
    if (found == nullptr) return std::nullopt;
    switch (blobmsg_type(found)) {
        case BLOBMSG_TYPE_INT64:
            return static_cast<std::int64_t>(blobmsg_get_u64(found));
        case BLOBMSG_TYPE_INT32:
            return static_cast<std::int32_t>(blobmsg_get_u32(found));
        case BLOBMSG_TYPE_INT8:
            return blobmsg_get_u8(found);
        default:
            return std::nullopt;
    }
}

bool offercontrol(ubus_context &bus, device &modem)
{
    static std::vector<ubus_method> methods;
    static ubus_object_type type{};
    static ubus_object object{};
    methods.clear();
    type = {};
    object = {};
    steered = &modem;
    for (const method &row : allmethods()) {
        ubus_method entry{};
        entry.name = row.name;
        entry.handler = dispatch;
        entry.policy = row.parameters.data();
        entry.n_policy = static_cast<int>(row.parameters.size());
        methods.push_back(entry);
    }
    type.name = object.name = "simulator";
    type.methods = object.methods = methods.data();
    type.n_methods = object.n_methods = static_cast<int>(methods.size());
    object.type = &type;
    const int status = ubus_add_object(&bus, &object);
    if (status != UBUS_STATUS_OK)
        std::fprintf(stderr, "modem-simulator: cannot register: %s\n", ubus_strerror(status));
    return status == UBUS_STATUS_OK;
}

}  // namespace simulator
