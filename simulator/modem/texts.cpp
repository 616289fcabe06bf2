// SPDX-License-Identifier: ISC
// The wordings of the modem's lines, and the values that are filled in.
#include "simulator/modem/command.h"

namespace simulator
{
namespace
{

constexpr struct {
    std::string_view name, text;
} texts[] = {
    // clang-format off
    {"registered", "+COPS: {mode},{format},\"{operator}\",{access}"},
    {"deregistered", "+COPS: {mode}"},
    // The fields of AT+CPSI?, by technology.
    {"GSM", "GSM,Online,250-99,0x182D,12401,27 EGSM 900,{rssi:-64},2110,42-42"},
    {"WCDMA", "WCDMA,Online,250-99,0x8B3F,12345678,WCDMA IMT 2000,101,10663,0,{ecio:-7.5},"
              "{rscp:-82},33,{rssi:-75},500"},
    {"LTE", "LTE,Online,250-99,0x5A1E,187214780,257,EUTRAN-BAND3,1850,5,5,{rsrq:20},{rsrp:50},"
            "{rssi:40},{sinr:15}"},
    {"unserved", "NO SERVICE,Online"},
    // Those of AT+CGNSSINFO.
    {"fix", "3,05,02,00,01,5546.123456,N,03737.654321,E,150324,093015.00,156.3,0.0,,1.5,0.9,1.2,07"},
    {"nofix", ",,,,,,,,,,,,,,,,,"},
    // Lines that come unasked.
    {"ready", "RDY"},
    {"card", "+CPIN: {lock}"},
    {"messages", "SMS DONE"},
    {"phonebook", "PB DONE"},
    // clang-format on
};

std::string access(const modem_model &modem)  // <AcT> of AT+COPS? (TS 27.007 7.3)
{
    const std::string_view used = usedtechnology(modem);
    return used == "LTE" ? "7" : used == "WCDMA" ? "2" : "0";
}

using value_of = std::string (*)(const modem_model &modem);

constexpr struct {
    std::string_view name;
    value_of value;
} values[] = {
    // clang-format off
    {"model", [](const modem_model &m) { return m.model_name; }},
    {"firmware", [](const modem_model &m) { return m.firmware; }},
    {"imei", [](const modem_model &m) { return m.imei; }},
    {"imsi", [](const modem_model &m) { return selectedslot(m).imsi; }},
    {"iccid", [](const modem_model &m) { return selectedslot(m).iccid; }},
    {"lock", [](const modem_model &m) { return std::string(shownlock(selectedslot(m))); }},
    {"mode", [](const modem_model &m) { return std::to_string(m.session.operator_mode); }},
    {"format", [](const modem_model &m) { return std::to_string(m.session.operator_format); }},
    {"operator", [](const modem_model &m) {
        return m.session.operator_format == 2 ? m.operator_code : m.operator_name; }},
    {"access", access},
    // clang-format on
};

// What stands for "name" or "name:default".
std::string filled(const modem_model &modem, std::string_view place)
{
    const std::string_view name = place.substr(0, place.find(':'));
    for (const auto &row : values)
        if (row.name == name) return row.value(modem);
    const auto value = modem.signal.find(std::string(name));
    if (value != modem.signal.end()) return value->second;
    return name.size() < place.size() ? std::string(place.substr(name.size() + 1)) : "";
}

}  // namespace

std::string wording(const modem_model &modem, std::string_view name, std::string_view usual)
{
    for (const auto &row : texts)
        if (row.name == name) usual = row.text;
    const auto own = modem.profile.reply.find(std::string(name));
    std::string_view pattern =
        own != modem.profile.reply.end() ? std::string_view(own->second) : usual;
    std::string out;
    while (!pattern.empty()) {
        const std::size_t open = pattern.find('{');
        const std::size_t close = pattern.find('}', open);
        out += pattern.substr(0, open);
        if (close == std::string_view::npos) break;
        out += filled(modem, pattern.substr(open + 1, close - open - 1));
        pattern.remove_prefix(close + 1);
    }
    return out;
}

}  // namespace simulator
