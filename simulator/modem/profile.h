// SPDX-License-Identifier: ISC
// How a modem of some make behaves where makes differ: its delays, what it says unasked, how its
// replies are worded and cut. Kept in files of lines "NAME VALUE", a comment from a '#' on that
// begins a word; the names are those of the members below.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace simulator
{

using milliseconds = std::int64_t;

struct modem_profile {
    milliseconds reply_delay = 0;            // from a command to its reply
    std::int64_t piece_size = 0;             // replies come in pieces of so many octets, 0: whole
    milliseconds piece_delay = 0;            // between the pieces
    milliseconds card_delay = 0;             // from the card's power to its first answer
    milliseconds sms_delay = 0;              // from there to its messages ("SMS DONE")
    milliseconds phonebook_delay = 0;        // from the card's first answer to "PB DONE"
    milliseconds registration_delay = 1500;  // from radio on, or the network's coming, on
    milliseconds fix_delay = 0;              // from the receiver's power to its first fix
    milliseconds chatter_interval = 0;       // between lines of chatter, 0: none
    std::int64_t stubborn = 0;               // 1: AT+CATR changes nothing
    std::string boot;                        // command line that a power cycle runs
    std::vector<std::string> chatter;        // lines that come unasked, in turn
    // Wordings, by the name of a query or of one of the texts in texts.cpp ("reply NAME TEXT").
    std::map<std::string, std::string> reply;

    bool operator==(const modem_profile &) const = default;
};

// Sets what `name` stands for; "\r" and "\n" in a value are line ends. False: there is no such name
// or the value is no number.
bool setprofile(modem_profile &profile, std::string_view name, std::string_view value);

// Reads the text of a profile over what is there. The first line that is wrong; empty: none.
std::string readprofile(modem_profile &profile, std::string_view text);

}  // namespace simulator
