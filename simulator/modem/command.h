// SPDX-License-Identifier: ISC
// How the modem's commands are written: a row (name, handler) each, in one of the tables below.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/modem/model.h"

namespace simulator
{

enum class form { execute, query, set };  // AT+X, AT+X?, AT+X=...

struct request {
    std::string_view name;   // of the row
    std::string_view usual;  // its text
    port where;
    form how;
    std::string_view raw;                // what follows the name or the '='
    std::vector<std::string> arguments;  // of a set, without quotes

    std::string_view text(std::size_t position) const;
    std::optional<unsigned> number(std::size_t position) const;  // null: missing or no number
};

enum class result { ok, error, cme, cms, prompt };

struct outcome {
    result how = result::ok;
    unsigned code = 0;  // of a cme or cms error
};

// Lines of information, each framed by line ends when it is sent.
using information = std::vector<std::string>;

struct command {
    std::string_view name;  // after "AT", upper case
    outcome (*run)(modem_model &modem, const request &asked, information &lines);
    std::string_view accepted = {};  // first arguments, blank-separated; empty: all
    std::string_view text = {};      // what `show` says, what `remember` knows before it is told
};

std::span<const command> basiccommands();    // framing, identity, settings, lines
std::span<const command> cardcommands();     // the SIM card's lock and numbers
std::span<const command> networkcommands();  // radio, data, USSD, GNSS
std::span<const command> messagecommands();  // SMS

// A query of fixed text.
outcome show(modem_model &modem, const request &asked, information &lines);
// A setting that is kept as it was set, shown when asked.
outcome remember(modem_model &modem, const request &asked, information &lines);

// The wording of `name`: the profile's, else `usual` (empty: that of the table in texts.cpp), with
// "{name}" and "{name:default}" filled in.
std::string wording(const modem_model &modem, std::string_view name, std::string_view usual = {});

// Why the card cannot be used; result ok when it can.
outcome cardstate(const modem_model &modem);

// Runs a command line up to its first error; gives the whole reply.
std::string execute(modem_model &modem, port where, std::string_view line);
// The same for the text given at the prompt of a port.
std::string finishmessage(modem_model &modem, port where, std::string_view text);
// A line between the line ends that the reply form asks for.
std::string framed(const modem_model &modem, std::string_view line);

// The PDU given at the prompt; `announced` octets without the service centre address.
outcome submit(modem_model &modem, std::string_view pdu, std::size_t announced, information &lines);

bool equalnocase(std::string_view left, std::string_view right);
bool startsnocase(std::string_view text, std::string_view start);

constexpr outcome failed{result::error};
constexpr outcome cmefailed(unsigned code)
{
    return {result::cme, code};
}
constexpr outcome cmsfailed(unsigned code)
{
    return {result::cms, code};
}

}  // namespace simulator
