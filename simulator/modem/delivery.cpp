// SPDX-License-Identifier: ISC
// Bus methods of the message services: what the network delivers to the modem.
#include <algorithm>
#include <charconv>
#include <utility>

#include "simulator/modem/control.h"
#include "simulator/modem/pdu.h"

namespace simulator
{
namespace
{

constexpr std::pair<std::string_view, coding> codings[] = {
    {"7bit", coding::bit7},
    {"8bit", coding::bit8},
    {"ucs2", coding::ucs2},
};

bool takecoding(std::string_view name, coding &how)
{
    for (const auto &[word, value] : codings) {
        if (name != word) continue;
        how = value;
        return true;
    }
    return false;
}

bool istimestamp(std::string_view text)
{
    return text.size() == 14 && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// The numbers of a list such as "2,1"; without one, all from 1 to `count`.
std::vector<std::size_t> partorder(std::string_view list, std::size_t count)
{
    std::vector<std::size_t> order;
    for (std::size_t part = 1; list.empty() && part <= count; part++)
        order.push_back(part);
    while (!list.empty()) {
        std::size_t part = 0;
        const auto read = std::from_chars(list.data(), list.data() + list.size(), part);
        if (part >= 1 && part <= count) order.push_back(part);
        const auto used = static_cast<std::size_t>(read.ptr - list.data());
        list.remove_prefix(std::min(list.size(), used + 1));
    }
    return order;
}

int delivermessage(device &modem, const arguments &given, blob_buf &reply)
{
    message from;
    message_part concatenation;
    concatenation.reference = 0x3A;
    assign(from.sender, given.text("sender"));
    assign(from.timestamp, given.text("timestamp"));
    assign(concatenation.reference, given.number("reference"));
    assign(concatenation.wide, given.number("wide"));
    const std::int64_t units = given.number("units").value_or(0);
    if (!takecoding(given.text("coding").value_or("ucs2"), from.how) ||
        !istimestamp(from.timestamp) || from.sender.empty() || units < 0)
        return UBUS_STATUS_INVALID_ARGUMENT;

    const std::vector<std::string> pdus = splitpdus(from, given.text("text").value_or(""),
                                                    concatenation, static_cast<std::size_t>(units));
    void *array = blobmsg_open_array(&reply, "indexes");
    for (const std::size_t part : partorder(given.text("order").value_or(""), pdus.size()))
        (void)blobmsg_add_u32(&reply, nullptr, storemessage(modem.model, pdus[part - 1]));
    blobmsg_close_array(&reply, array);
    (void)blobmsg_add_u32(&reply, "parts", static_cast<std::uint32_t>(pdus.size()));
    return UBUS_STATUS_OK;
}

int deliverpdu(device &modem, const arguments &given, blob_buf &reply)
{
    const unsigned index = storemessage(modem.model, given.text("pdu").value_or(""),
                                        static_cast<unsigned>(given.number("index").value_or(0)));
    (void)blobmsg_add_u32(&reply, "index", index);
    return UBUS_STATUS_OK;
}

int setstorage(device &modem, const arguments &given, blob_buf &)
{
    assign(modem.model.storage_capacity, given.number("capacity"));
    return UBUS_STATUS_OK;
}

// The answer to a code: a text, a whole line, or nothing at all.
int setussd(device &modem, const arguments &given, blob_buf &)
{
    ussd_answer &answer = modem.model.ussd[given.text("code").value_or("")];
    answer = {given.text("line").value_or(""), given.number("delay").value_or(0)};
    if (const auto text = given.text("answer"))
        answer.line = "+CUSD: " + std::to_string(given.number("status").value_or(0)) + ",\"" +
                      ucs2hex(*text) + "\"," + std::to_string(given.number("dcs").value_or(72));
    return UBUS_STATUS_OK;
}

constexpr blobmsg_policy messageparameters[] = {
    {"sender", BLOBMSG_TYPE_STRING},   {"text", BLOBMSG_TYPE_STRING},
    {"coding", BLOBMSG_TYPE_STRING},   {"timestamp", BLOBMSG_TYPE_STRING},
    {"reference", BLOBMSG_TYPE_INT32}, {"wide", BLOBMSG_TYPE_BOOL},
    {"units", BLOBMSG_TYPE_INT32},     {"order", BLOBMSG_TYPE_STRING},
};
constexpr blobmsg_policy pduparameters[] = {
    {"pdu", BLOBMSG_TYPE_STRING},
    {"index", BLOBMSG_TYPE_INT32},
};
constexpr blobmsg_policy storageparameters[] = {{"capacity", BLOBMSG_TYPE_INT32}};
constexpr blobmsg_policy ussdparameters[] = {
    {"code", BLOBMSG_TYPE_STRING}, {"answer", BLOBMSG_TYPE_STRING}, {"status", BLOBMSG_TYPE_INT32},
    {"dcs", BLOBMSG_TYPE_INT32},   {"line", BLOBMSG_TYPE_STRING},   {"delay", BLOBMSG_TYPE_INT32},
};

constexpr method methods[] = {
    {"sms", delivermessage, messageparameters},
    {"sms_pdu", deliverpdu, pduparameters},
    {"storage", setstorage, storageparameters},
    {"ussd", setussd, ussdparameters},
};

}  // namespace

std::span<const method> messagemethods()
{
    return methods;
}

}  // namespace simulator
