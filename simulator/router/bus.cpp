// SPDX-License-Identifier: ISC
// Calls on the bus, their replies flattened into paths.
#include "simulator/router/bus.h"

#include <poll.h>

#include <libubus.h>

namespace
{

std::string valuetext(blob_attr *attribute)
{
    switch (blobmsg_type(attribute)) {
        case BLOBMSG_TYPE_STRING:
            return blobmsg_get_string(attribute);
        case BLOBMSG_TYPE_INT8:
            return blobmsg_get_u8(attribute) != 0 ? "true" : "false";
        case BLOBMSG_TYPE_INT16:
            return std::to_string(static_cast<std::int16_t>(blobmsg_get_u16(attribute)));
        case BLOBMSG_TYPE_INT32:
            return std::to_string(static_cast<std::int32_t>(blobmsg_get_u32(attribute)));
        case BLOBMSG_TYPE_INT64:
            return std::to_string(static_cast<std::int64_t>(blobmsg_get_u64(attribute)));
        case BLOBMSG_TYPE_DOUBLE:
            return std::to_string(blobmsg_get_double(attribute));
        default:
            return "";
    }
}

// The payload of `container`, fields below `prefix`.
void flatten(bus_reply &reply, blob_attr *container, const std::string &prefix, bool named)
{
    blob_attr *attribute = nullptr;
    std::size_t rest = 0;
    std::size_t number = 0;
    blobmsg_for_each_attr(attribute, container, rest)
    {
        if (!blobmsg_check_attr(attribute, named)) return;
        const std::string name =
            prefix + (named ? std::string(blobmsg_name(attribute)) : std::to_string(number++));
        const int type = blobmsg_type(attribute);
        if (type == BLOBMSG_TYPE_TABLE || type == BLOBMSG_TYPE_ARRAY)
            flatten(reply, attribute, name + ".", type == BLOBMSG_TYPE_TABLE);
        else
            reply.fields.emplace_back(name, valuetext(attribute));
    }
}

void addargument(blob_buf *message, const std::string &name, const bus_value &value)
{
    if (const auto *text = std::get_if<std::string>(&value))
        blobmsg_add_string(message, name.c_str(), text->c_str());
    else if (const auto *number = std::get_if<std::int32_t>(&value))
        blobmsg_add_u32(message, name.c_str(), static_cast<std::uint32_t>(*number));
    else if (const auto *flag = std::get_if<bool>(&value))
        blobmsg_add_u8(message, name.c_str(), *flag ? 1 : 0);
    else if (const auto *real = std::get_if<double>(&value))
        blobmsg_add_double(message, name.c_str(), *real);
}

}  // namespace

bool bus_reply::has(const std::string &path) const
{
    for (const auto &field : fields)
        if (field.first == path) return true;
    return false;
}

std::string bus_reply::operator[](const std::string &path) const
{
    for (const auto &field : fields)
        if (field.first == path) return field.second;
    return "";
}

bus_reply bus_read(blob_attr *message)
{
    bus_reply fields;
    flatten(fields, message, "", true);
    fields.status = 0;
    return fields;
}

bus_client::bus_client() : context(ubus_connect(nullptr), [](ubus_context *old) { ubus_free(old); })
{
    uloop_done();  // synchronous calls need no loop, and the loop would keep SIGINT to itself
}

bool bus_client::connected() const
{
    if (context == nullptr) return false;
    pollfd socket = {context->sock.fd, POLLRDHUP, 0};
    return poll(&socket, 1, 0) == 0;
}

bool bus_client::has(const std::string &object)
{
    std::uint32_t id = 0;
    return connected() && ubus_lookup_id(context.get(), object.c_str(), &id) == 0 && id != 0;
}

bus_reply bus_client::call(const std::string &object,
                           const std::string &method,
                           const bus_arguments &arguments,
                           int limit)
{
    bus_reply reply;
    std::uint32_t id = 0;
    reply.status = UBUS_STATUS_CONNECTION_FAILED;
    if (!connected()) return reply;
    reply.status = ubus_lookup_id(context.get(), object.c_str(), &id);
    if (reply.status != 0) return reply;
    blob_buf message = {};
    blob_buf_init(&message, 0);
    for (const auto &[name, value] : arguments)
        addargument(&message, name, value);
    const auto collect = [](ubus_request *request, int, blob_attr *data) {
        flatten(*static_cast<bus_reply *>(request->priv), data, "", true);
    };
    reply.status =
        ubus_invoke(context.get(), id, method.c_str(), message.head, collect, &reply, limit);
    blob_buf_free(&message);
    return reply;
}
