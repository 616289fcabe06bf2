// SPDX-License-Identifier: ISC
// Profiles: their names in one table, and their files.
#include "simulator/modem/profile.h"

#include <charconv>
#include <utility>

namespace simulator
{
namespace
{

constexpr std::pair<std::string_view, milliseconds modem_profile::*> numbers[] = {
    {"reply_delay", &modem_profile::reply_delay},
    {"piece_size", &modem_profile::piece_size},
    {"piece_delay", &modem_profile::piece_delay},
    {"card_delay", &modem_profile::card_delay},
    {"sms_delay", &modem_profile::sms_delay},
    {"phonebook_delay", &modem_profile::phonebook_delay},
    {"registration_delay", &modem_profile::registration_delay},
    {"fix_delay", &modem_profile::fix_delay},
    {"chatter_interval", &modem_profile::chatter_interval},
    {"stubborn", &modem_profile::stubborn},
};

// The word before the first blank, which is taken off together with the blanks.
std::string_view takename(std::string_view &text)
{
    const std::string_view name = text.substr(0, text.find(' '));
    text.remove_prefix(name.size());
    while (text.starts_with(' '))
        text.remove_prefix(1);
    return name;
}

bool setnumber(milliseconds &target, std::string_view text)
{
    milliseconds value = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    if (read.ec != std::errc() || read.ptr != text.data() + text.size() || value < 0) return false;
    target = value;
    return true;
}

std::string withlineends(std::string_view text)
{
    std::string out;
    for (std::size_t at = 0; at < text.size(); at++) {
        const bool escaped = text[at] == '\\' && at + 1 < text.size() &&
                             (text[at + 1] == 'r' || text[at + 1] == 'n');
        if (escaped) at++;
        out += !escaped ? text[at] : text[at] == 'r' ? '\r' : '\n';
    }
    return out;
}

}  // namespace

bool setprofile(modem_profile &profile, std::string_view name, std::string_view value)
{
    for (const auto &[known, member] : numbers)
        if (name == known) return setnumber(profile.*member, value);
    if (name == "boot")
        profile.boot = value;
    else if (name == "chatter")
        profile.chatter.push_back(withlineends(value));
    else if (name == "reply") {
        const std::string_view of = takename(value);
        profile.reply[std::string(of)] = withlineends(value);
    } else
        return false;
    return true;
}

std::string readprofile(modem_profile &profile, std::string_view text)
{
    while (!text.empty()) {
        std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(line.size() < text.size() ? line.size() + 1 : line.size());
        const std::string whole(line);
        const std::string_view name = takename(line);
        if (name.empty() || name.starts_with('#')) continue;
        line = line.substr(0, line.find(" #"));
        while (line.ends_with(' '))
            line.remove_suffix(1);
        if (!setprofile(profile, name, line)) return whole;
    }
    return "";
}

}  // namespace simulator
