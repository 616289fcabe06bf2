// SPDX-License-Identifier: ISC
// Bus methods that set the conditions around the modem: cards, network, receiver, cable, faults.
#include <array>
#include <utility>

#include "simulator/modem/control.h"

namespace simulator
{
namespace
{

constexpr std::pair<std::string_view, faultkind> faultkinds[] = {
    {"silence", faultkind::silence}, {"reply", faultkind::reply}, {"error", faultkind::error},
    {"late", faultkind::late},       {"split", faultkind::split}, {"garbage", faultkind::garbage},
    {"cut", faultkind::cut},         {"flood", faultkind::flood},
};

constexpr const char *signalnames[] = {"rssi", "rscp", "ecio", "rsrp", "rsrq", "sinr"};

int setsim(device &modem, const arguments &given, blob_buf &)
{
    const std::int64_t slot = given.number("slot").value_or(1);
    if (slot < 1 || slot > 2) return UBUS_STATUS_INVALID_ARGUMENT;
    sim_slot &chosen = modem.model.slots[static_cast<std::size_t>(slot - 1)];
    assign(chosen.inserted, given.number("inserted"));
    if (const auto lock = given.text("lock")) {
        chosen.lock = *lock;
        chosen.unlocked = false;
        chosen.pintries = sim_slot().pintries;
        chosen.puktries = sim_slot().puktries;
    }
    assign(chosen.pin, given.text("pin"));
    assign(chosen.puk, given.text("puk"));
    assign(chosen.imsi, given.text("imsi"));
    assign(chosen.iccid, given.text("iccid"));
    return UBUS_STATUS_OK;
}

int setidentity(device &modem, const arguments &given, blob_buf &)
{
    assign(modem.model.model_name, given.text("model"));
    assign(modem.model.firmware, given.text("firmware"));
    assign(modem.model.imei, given.text("imei"));
    return UBUS_STATUS_OK;
}

int setradio(device &modem, const arguments &given, blob_buf &)
{
    assign(modem.model.profile.registration_delay, given.number("delay"));
    if (const auto registered = given.number("registered"))
        setnetwork(modem.model, *registered != 0, clocknow());
    return UBUS_STATUS_OK;
}

int setoperator(device &modem, const arguments &given, blob_buf &)
{
    assign(modem.model.operator_name, given.text("name"));
    assign(modem.model.operator_code, given.text("code"));
    return UBUS_STATUS_OK;
}

// Describes the signal as a whole: what is not given is the default of the technology.
int setsignal(device &modem, const arguments &given, blob_buf &)
{
    assign(modem.model.technologies, given.text("technology"));
    modem.model.cpsi = given.text("report").value_or("");
    modem.model.signal.clear();
    for (const char *name : signalnames) {
        if (const auto value = given.text(name)) modem.model.signal[name] = *value;
        if (const auto value = given.number(name))
            modem.model.signal[name] = std::to_string(*value);
    }
    return UBUS_STATUS_OK;
}

int setgnss(device &modem, const arguments &given, blob_buf &)
{
    assign(modem.model.gnss_fix, given.number("fix"));
    assign(modem.model.gnss_report, given.text("report"));
    assign(modem.model.gnss_mode_refusals, given.number("refusals"));
    return UBUS_STATUS_OK;
}

// Without a value the reading follows the cards again.
int setadc(device &modem, const arguments &given, blob_buf &)
{
    modem.model.adc.reset();
    if (const auto value = given.number("value")) modem.model.adc = static_cast<unsigned>(*value);
    return UBUS_STATUS_OK;
}

int addfault(device &modem, const arguments &given, blob_buf &)
{
    const std::string kind = given.text("kind").value_or("");
    fault added;
    assign(added.command, given.text("command"));
    assign(added.exact, given.number("exact"));
    assign(added.text, given.text("text"));
    assign(added.delay, given.number("delay"));
    assign(added.chunk, given.number("chunk"));
    assign(added.times, given.number("times"));
    for (const auto &[name, value] : faultkinds) {
        if (kind != name) continue;
        added.kind = value;
        modem.model.faults.push_back(added);
        return UBUS_STATUS_OK;
    }
    return UBUS_STATUS_INVALID_ARGUMENT;
}

int clearfaults(device &modem, const arguments &, blob_buf &)
{
    modem.model.faults.clear();
    return UBUS_STATUS_OK;
}

int sendunsolicited(device &modem, const arguments &given, blob_buf &)
{
    const std::string name = given.text("port").value_or("at");
    if (name != "at" && name != "second") return UBUS_STATUS_INVALID_ARGUMENT;
    unsolicited(modem.model, name == "at" ? at_port : second_port, given.text("text").value_or(""),
                given.number("delay").value_or(0));
    return UBUS_STATUS_OK;
}

int setprofileline(device &modem, const arguments &given, blob_buf &)
{
    const bool known = setprofile(modem.model.profile, given.text("name").value_or(""),
                                  given.text("value").value_or(""));
    return known ? UBUS_STATUS_OK : UBUS_STATUS_INVALID_ARGUMENT;
}

int pullcable(device &modem, const arguments &, blob_buf &)
{
    unplug(modem);
    return UBUS_STATUS_OK;
}

int pushcable(device &modem, const arguments &, blob_buf &)
{
    if (modem.plugged || plug(modem)) return UBUS_STATUS_OK;
    return UBUS_STATUS_SYSTEM_ERROR;
}

constexpr blobmsg_policy simparameters[] = {
    {"slot", BLOBMSG_TYPE_INT32},  {"inserted", BLOBMSG_TYPE_BOOL}, {"lock", BLOBMSG_TYPE_STRING},
    {"imsi", BLOBMSG_TYPE_STRING}, {"iccid", BLOBMSG_TYPE_STRING},  {"pin", BLOBMSG_TYPE_STRING},
    {"puk", BLOBMSG_TYPE_STRING},
};
constexpr blobmsg_policy identityparameters[] = {
    {"model", BLOBMSG_TYPE_STRING},
    {"firmware", BLOBMSG_TYPE_STRING},
    {"imei", BLOBMSG_TYPE_STRING},
};
constexpr blobmsg_policy radioparameters[] = {
    {"registered", BLOBMSG_TYPE_BOOL},
    {"delay", BLOBMSG_TYPE_INT32},
};
constexpr blobmsg_policy operatorparameters[] = {
    {"name", BLOBMSG_TYPE_STRING},
    {"code", BLOBMSG_TYPE_STRING},
};
constexpr blobmsg_policy signalparameters[] = {
    {"technology", BLOBMSG_TYPE_STRING}, {"report", BLOBMSG_TYPE_STRING},
    {"rssi", BLOBMSG_TYPE_STRING},       {"rscp", BLOBMSG_TYPE_STRING},
    {"ecio", BLOBMSG_TYPE_STRING},       {"rsrp", BLOBMSG_TYPE_STRING},
    {"rsrq", BLOBMSG_TYPE_STRING},       {"sinr", BLOBMSG_TYPE_STRING},
};
constexpr blobmsg_policy gnssparameters[] = {
    {"fix", BLOBMSG_TYPE_BOOL},
    {"report", BLOBMSG_TYPE_STRING},
    {"refusals", BLOBMSG_TYPE_INT32},
};
constexpr blobmsg_policy adcparameters[] = {{"value", BLOBMSG_TYPE_INT32}};
constexpr blobmsg_policy faultparameters[] = {
    {"command", BLOBMSG_TYPE_STRING}, {"kind", BLOBMSG_TYPE_STRING}, {"exact", BLOBMSG_TYPE_BOOL},
    {"text", BLOBMSG_TYPE_STRING},    {"delay", BLOBMSG_TYPE_INT32}, {"chunk", BLOBMSG_TYPE_INT32},
    {"times", BLOBMSG_TYPE_INT32},
};
constexpr blobmsg_policy unsolicitedparameters[] = {
    {"port", BLOBMSG_TYPE_STRING},
    {"text", BLOBMSG_TYPE_STRING},
    {"delay", BLOBMSG_TYPE_INT32},
};

constexpr blobmsg_policy profileparameters[] = {
    {"name", BLOBMSG_TYPE_STRING},
    {"value", BLOBMSG_TYPE_STRING},
};

constexpr method methods[] = {
    {"sim", setsim, simparameters},
    {"identity", setidentity, identityparameters},
    {"radio", setradio, radioparameters},
    {"operator", setoperator, operatorparameters},
    {"signal", setsignal, signalparameters},
    {"gnss", setgnss, gnssparameters},
    {"adc", setadc, adcparameters},
    {"fault", addfault, faultparameters},
    {"clear_faults", clearfaults},
    {"unsolicited", sendunsolicited, unsolicitedparameters},
    {"profile", setprofileline, profileparameters},
    {"unplug", pullcable},
    {"replug", pushcable},
};

}  // namespace

std::span<const method> conditionmethods()
{
    return methods;
}

}  // namespace simulator
