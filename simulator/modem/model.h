// SPDX-License-Identifier: ISC
// The modem as the router sees it: octets in, octets out, and what changes in between.
//
// The model does no input or output and has no clock: whoever drives it passes the time in
// milliseconds, of any origin and never going back. So it runs in a test thread and in the
// modem-simulator program alike. Use it from one thread at a time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/modem/profile.h"

namespace simulator
{

// The daemon's AT port, and the port on which USSD answers arrive. Both take commands.
enum port : std::size_t { at_port, second_port, port_count };

enum class faultkind {
    silence,  // the command is swallowed
    reply,    // not executed; `text` is sent as it stands
    error,    // not executed; a final line with `text`, "ERROR" when empty
    late,     // the reply comes `delay` later
    split,    // ... in pieces of `chunk` octets, `delay` apart
    garbage,  // ... after `text`
    cut,      // ... without its last line end
    flood,    // ... after a line of `chunk` octets
};

// A fault of the commands that begin with `command`, ignoring case ("" fits all). The text of a
// message given at the ">" prompt counts as a command too.
struct fault {
    std::string command;
    bool exact = false;  // the whole command must be equal
    faultkind kind = faultkind::silence;
    std::string text = {};
    milliseconds delay = 0;
    std::size_t chunk = 1;
    unsigned times = 0;  // matches left; 0: for ever
};

struct sim_slot {
    bool inserted = true;
    std::string lock = "READY";  // what AT+CPIN? shows
    std::string imsi;
    std::string iccid;
    std::string pin = "1234";
    std::string puk = "12345678";
    unsigned pintries = 3;  // left
    unsigned puktries = 10;
    bool unlocked = false;  // AT+CPIN= gave the code; until the card's power goes
};

struct gpio_line {
    bool output = false;
    unsigned level = 0;
};

struct stored_message {
    std::string pdu;  // hexadecimal text
    bool read = false;
};

struct ussd_answer {
    std::string line;  // what comes unasked; empty: nothing
    milliseconds delay = 0;
};

struct pending_line {
    milliseconds due;
    std::string line;
};

struct received_command {
    std::uint64_t number;  // counts from 1
    std::string text = {};
};

// What the modem has announced since it, or its card, came up. A model begins with a modem that has
// been up for long.
struct announcements {
    bool ready = true;      // the modem itself
    bool card = true;       // its lock state
    bool messages = true;   // the storage
    bool phonebook = true;  // the last to come
    unsigned registration = 0;
};

// What a power cycle of the modem forgets.
struct modem_session {
    bool verbose = true;  // ATV1
    unsigned cfun = 1;
    milliseconds card_since = 0;   // when the card got its power
    milliseconds radio_since = 0;  // when the radio, or the network around it, came on
    milliseconds gnss_since = 0;   // when the receiver came on
    bool gnss_power = false;
    std::string gnss_mode = "1";
    unsigned operator_mode = 0;                   // of AT+COPS
    unsigned operator_format = 0;                 // 2: its number
    std::string operator_wanted;                  // in mode 1; empty: any
    std::map<std::string, std::string> settings;  // by command, as last set
    std::map<unsigned, gpio_line> lines;
    std::vector<pending_line> ussd;  // answers on their way
    announcements told;
};

struct modem_port {
    bool echo = true;
    std::string line;           // input not yet complete
    bool prompting = false;     // a message is awaited
    std::size_t announced = 0;  // its octets after the service centre address
    std::multimap<milliseconds, std::string> outgoing;  // by the time when it is due
    milliseconds reply_from = 0;                        // when the latest reply begins
    milliseconds busy_until = 0;                        // when it has ended: they keep their order
};

struct modem_model {
    milliseconds now = 0;
    modem_profile profile;
    std::array<modem_port, port_count> ports;
    modem_session session;
    milliseconds chatter_due = 0;
    std::size_t chatter_next = 0;  // line of the profile

    std::string model_name = "LTE-MODEM-1";
    std::string firmware = "LM1.04.02B01";
    std::string imei = "861000000000013";
    std::array<sim_slot, 2> slots = {{
        {true, "READY", "250990000000001", "8970199000000000017"},
        {true, "READY", "250990000000002", "8970199000000000025"},
    }};
    std::optional<unsigned> adc;  // a reading forced upon the card detection

    bool network = true;  // there is one to register with
    std::string operator_name = "Test Operator";
    std::string operator_code = "25099";
    // What the network offers, best first, separated by commas: LTE, WCDMA, GSM, or any other word.
    std::string technologies = "LTE,WCDMA,GSM";
    std::map<std::string, std::string> signal;  // by name (rssi, rsrp, ...), over the defaults
    std::string cpsi;                           // the whole report, over all of these

    bool gnss_fix = true;             // there are satellites to be seen
    std::string gnss_report;          // the fields of a report, over the defaults
    unsigned gnss_mode_refusals = 0;  // AT+CGNSSMODE answers so often with an error

    std::map<unsigned, std::string> contexts;  // what AT+CGDCONT defined, by number
    unsigned storage_capacity = 10;
    std::map<unsigned, stored_message> storage;
    std::vector<std::string> sent;            // PDUs that were accepted
    std::map<std::string, ussd_answer> ussd;  // by code; "" answers all others

    std::vector<fault> faults;  // the first that fits counts
    std::deque<received_command> commands;
    std::uint64_t command_count = 0;
};

// Takes octets that arrived at a port.
void feed(modem_model &modem, port where, std::string_view octets, milliseconds now);
// The octets of a port that are due by now, in order; they are gone then.
std::string take(modem_model &modem, port where, milliseconds now);
// When the modem will next have something to say or change, without being asked.
std::optional<milliseconds> nextdue(const modem_model &modem);

// A text out of turn, sent as it stands.
void unsolicited(modem_model &modem, port where, std::string_view text, milliseconds delay = 0);
// A line of the modem's own, at the ports that AT+CATR chose. It cuts no reply in two.
void announce(modem_model &modem, std::string_view line);
// Announces what has come about by now, and chatters.
void settle(modem_model &modem);
// When there will be something to announce; null: not by itself.
std::optional<milliseconds> nextannouncement(const modem_model &modem);

// Puts a PDU (hexadecimal text) at an index of the SIM storage, 0: the first free one. Returns the
// index; 0 when the storage is full or has no such index.
unsigned storemessage(modem_model &modem, std::string_view pdu, unsigned index = 0);
// Sets whether there is a network; a new one is found `registration_delay` from now.
void setnetwork(modem_model &modem, bool available, milliseconds now);
// Off and on again: the session begins anew, unsent octets are lost.
void powercycle(modem_model &modem, milliseconds now);
// The card loses its power and gets it again.
void restartcard(modem_model &modem);

const sim_slot &selectedslot(const modem_model &modem);
sim_slot &selectedslot(modem_model &modem);
// What AT+CPIN? shows of an inserted card.
std::string_view shownlock(const sim_slot &slot);
milliseconds cardready(const modem_model &modem);  // from then on the card answers
bool isregistered(const modem_model &modem);
milliseconds registrationdue(const modem_model &modem);  // with everything else in place
// The first technology of the network that AT+CNMP allows; empty: none.
std::string_view usedtechnology(const modem_model &modem);
bool isfixed(const modem_model &modem);  // the receiver knows where it is
unsigned adcreading(const modem_model &modem);
// The address that the router gets by DHCP over the modem's network interface; empty: none, since
// there is no data connection.
std::string hostaddress(const modem_model &modem);
// As last set by the command, or `fallback`.
std::string_view setting(const modem_model &modem,
                         std::string_view name,
                         std::string_view fallback = "0");

}  // namespace simulator
