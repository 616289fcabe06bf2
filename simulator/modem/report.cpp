// SPDX-License-Identifier: ISC
// Bus methods that show what the modem was told and what it holds.
#include "simulator/modem/control.h"

namespace simulator
{
namespace
{

using std::to_string;

// Out of memory is the one failure of an addition; a cut report is what is left then.
void addtext(blob_buf &reply, const char *name, const std::string &text)
{
    (void)blobmsg_add_string(&reply, name, text.c_str());
}

int showcommands(device &modem, const arguments &given, blob_buf &reply)
{
    const auto since = static_cast<std::uint64_t>(given.number("since").value_or(0));
    void *array = blobmsg_open_array(&reply, "commands");
    for (const received_command &row : modem.model.commands) {
        if (row.number <= since) continue;
        void *table = blobmsg_open_table(&reply, nullptr);
        (void)blobmsg_add_u32(&reply, "n", static_cast<std::uint32_t>(row.number));
        addtext(reply, "text", row.text);
        blobmsg_close_table(&reply, table);
    }
    blobmsg_close_array(&reply, array);
    return UBUS_STATUS_OK;
}

int showsent(device &modem, const arguments &, blob_buf &reply)
{
    void *array = blobmsg_open_array(&reply, "pdus");
    for (const std::string &pdu : modem.model.sent)
        addtext(reply, nullptr, pdu);
    blobmsg_close_array(&reply, array);
    return UBUS_STATUS_OK;
}

void addlines(blob_buf &reply, const modem_session &session)
{
    void *lines = blobmsg_open_table(&reply, "lines");
    for (const auto &[number, line] : session.lines) {
        void *table = blobmsg_open_table(&reply, to_string(number).c_str());
        (void)blobmsg_add_u8(&reply, "output", line.output);
        (void)blobmsg_add_u32(&reply, "level", line.level);
        blobmsg_close_table(&reply, table);
    }
    blobmsg_close_table(&reply, lines);
}

void addgnss(blob_buf &reply, const modem_session &session)
{
    void *gnss = blobmsg_open_table(&reply, "gnss");
    (void)blobmsg_add_u8(&reply, "power", session.gnss_power);
    addtext(reply, "mode", session.gnss_mode);
    blobmsg_close_table(&reply, gnss);
}

void addstorage(blob_buf &reply, const modem_model &model)
{
    void *storage = blobmsg_open_table(&reply, "storage");
    (void)blobmsg_add_u32(&reply, "capacity", model.storage_capacity);
    void *messages = blobmsg_open_table(&reply, "messages");
    for (const auto &[index, message] : model.storage)
        addtext(reply, to_string(index).c_str(), message.pdu);
    blobmsg_close_table(&reply, messages);
    blobmsg_close_table(&reply, storage);
}

int showstate(device &modem, const arguments &, blob_buf &reply)
{
    const modem_model &model = modem.model;
    (void)blobmsg_add_u8(&reply, "plugged", modem.plugged);
    (void)blobmsg_add_u8(&reply, "echo", model.ports[at_port].echo);
    (void)blobmsg_add_u32(&reply, "cfun", model.session.cfun);
    (void)blobmsg_add_u32(&reply, "slot", &selectedslot(model) == &model.slots[0] ? 1 : 2);
    (void)blobmsg_add_u32(&reply, "adc", adcreading(model));
    (void)blobmsg_add_u32(&reply, "pin_tries", selectedslot(model).pintries);
    (void)blobmsg_add_u32(&reply, "puk_tries", selectedslot(model).puktries);
    (void)blobmsg_add_u8(&reply, "registered", isregistered(model));
    addtext(reply, "technology", std::string(usedtechnology(model)));
    addtext(reply, "address", hostaddress(model));
    (void)blobmsg_add_u32(&reply, "commands", static_cast<std::uint32_t>(model.command_count));
    (void)blobmsg_add_u32(&reply, "sent", static_cast<std::uint32_t>(model.sent.size()));
    addlines(reply, model.session);
    addgnss(reply, model.session);
    addstorage(reply, model);
    void *contexts = blobmsg_open_table(&reply, "contexts");
    for (const auto &[number, definition] : model.contexts)
        addtext(reply, to_string(number).c_str(), definition);
    blobmsg_close_table(&reply, contexts);
    void *settings = blobmsg_open_table(&reply, "settings");
    for (const auto &[name, value] : model.session.settings)
        addtext(reply, name.c_str(), value);
    blobmsg_close_table(&reply, settings);
    return UBUS_STATUS_OK;
}

constexpr blobmsg_policy commandsparameters[] = {{"since", BLOBMSG_TYPE_INT32}};

constexpr method methods[] = {
    {"commands", showcommands, commandsparameters},
    {"sent", showsent},
    {"state", showstate},
};

}  // namespace

std::span<const method> reportmethods()
{
    return methods;
}

}  // namespace simulator
