// SPDX-License-Identifier: ISC
// Command lines into replies: chaining, arguments, the look-up in the tables, and the final lines.
#include <algorithm>
#include <charconv>

#include "simulator/modem/command.h"

namespace simulator
{
namespace
{

struct error_text {
    unsigned code;
    const char *text;
};

// The texts of AT+CMEE=2 (TS 27.007 9.2, TS 27.005 3.2.5).
constexpr error_text cmetexts[] = {
    {3, "operation not allowed"}, {10, "SIM not inserted"},   {11, "SIM PIN required"},
    {12, "SIM PUK required"},     {13, "SIM failure"},        {14, "SIM busy"},
    {16, "incorrect password"},   {30, "no network service"}, {50, "Incorrect parameters"},
};
constexpr error_text cmstexts[] = {
    {302, "operation not allowed"}, {304, "Invalid PDU mode parameter"},
    {310, "SIM not inserted"},      {311, "SIM PIN required"},
    {313, "SIM failure"},           {314, "SIM busy"},
    {316, "SIM PUK required"},      {321, "Invalid memory index"},
    {331, "no network service"},
};

std::string errorline(const modem_model &modem,
                      std::string_view head,
                      unsigned code,
                      std::span<const error_text> texts)
{
    const std::string_view detail = setting(modem, "+CMEE");
    if (detail == "0") return "ERROR";
    std::string line(head);
    for (const error_text &row : texts)
        if (row.code == code && detail == "2") return line + row.text;
    return line + std::to_string(code);
}

std::string finaltext(const modem_model &modem, const outcome &from)
{
    switch (from.how) {
        case result::ok:
            return "OK";
        case result::cme:
            return errorline(modem, "+CME ERROR: ", from.code, cmetexts);
        case result::cms:
            return errorline(modem, "+CMS ERROR: ", from.code, cmstexts);
        case result::error:
        case result::prompt:
            break;
    }
    return "ERROR";
}

std::string framedfinal(const modem_model &modem, const outcome &from)
{
    if (from.how == result::prompt) return "\r\n> ";
    if (!modem.session.verbose && from.how == result::ok) return "0\r";
    if (!modem.session.verbose && from.how == result::error) return "4\r";
    return framed(modem, finaltext(modem, from));
}

std::string compose(const modem_model &modem, const information &lines, const outcome &last)
{
    std::string reply;
    for (const std::string &line : lines)
        reply += framed(modem, line);
    return reply + framedfinal(modem, last);
}

// Chained commands are separated by semicolons outside quotes.
std::string_view takesegment(std::string_view &rest)
{
    bool quoted = false;
    std::size_t end = 0;
    for (; end < rest.size() && (quoted || rest[end] != ';'); end++)
        if (rest[end] == '"') quoted = !quoted;
    const std::string_view segment = rest.substr(0, end);
    rest.remove_prefix(std::min(rest.size(), end + 1));
    return segment;
}

std::vector<std::string> splitarguments(std::string_view text)
{
    std::vector<std::string> out(1);
    bool quoted = false;
    for (const char c : text) {
        if (c == '"')
            quoted = !quoted;
        else if (c == ',' && !quoted)
            out.emplace_back();
        else
            out.back().push_back(c);
    }
    return out;
}

// Whether `rest` may follow the name: nothing, '?', '=', or the digits of a one-letter command.
bool mayfollow(std::string_view name, std::string_view rest)
{
    if (rest.empty() || rest[0] == '=' || rest == "?") return true;
    return name.size() == 1 && rest.find_first_not_of("0123456789") == std::string_view::npos;
}

const command *findcommand(std::string_view segment)
{
    for (const auto table :
         {basiccommands(), cardcommands(), networkcommands(), messagecommands()}) {
        for (const command &row : table) {
            if (startsnocase(segment, row.name) &&
                mayfollow(row.name, segment.substr(row.name.size())))
                return &row;
        }
    }
    return nullptr;
}

// Whether the blank-separated `words` hold the argument; no words: anything goes.
bool isaccepted(std::string_view words, std::string_view argument)
{
    bool found = words.empty();
    while (!found && !words.empty()) {
        const std::string_view word = words.substr(0, words.find(' '));
        found = word == argument;
        words.remove_prefix(std::min(words.size(), word.size() + 1));
    }
    return found;
}

outcome runsegment(modem_model &modem, port where, std::string_view segment, information &lines)
{
    if (segment.empty()) return {};
    const command *const row = findcommand(segment);
    if (row == nullptr) return failed;
    std::string_view rest = segment.substr(row->name.size());
    request asked{row->name, row->text, where, form::execute, {}, {}};
    if (rest == "?") {
        asked.how = form::query;
    } else if (rest == "=?") {
        return {};
    } else if (!rest.empty()) {
        if (rest[0] == '=') rest.remove_prefix(1);
        asked.how = form::set;
        asked.raw = rest;
        asked.arguments = splitarguments(rest);
    }
    if (asked.how == form::set && !isaccepted(row->accepted, asked.arguments[0])) return failed;
    return row->run(modem, asked, lines);
}

}  // namespace

std::string framed(const modem_model &modem, std::string_view line)
{
    std::string out = modem.session.verbose ? "\r\n" : "";
    out.append(line).append("\r\n");
    return out;
}

std::string execute(modem_model &modem, port where, std::string_view line)
{
    if (!startsnocase(line, "AT")) return "";
    line.remove_prefix(2);
    information lines;
    outcome last;
    while (!line.empty() && last.how == result::ok)
        last = runsegment(modem, where, takesegment(line), lines);
    return compose(modem, lines, last);
}

std::string finishmessage(modem_model &modem, port where, std::string_view text)
{
    information lines;
    const outcome last = submit(modem, text, modem.ports[where].announced, lines);
    return compose(modem, lines, last);
}

std::string_view request::text(std::size_t position) const
{
    return position < arguments.size() ? std::string_view(arguments[position]) : std::string_view();
}

std::optional<unsigned> request::number(std::size_t position) const
{
    const std::string_view digits = text(position);
    unsigned value = 0;
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (read.ec != std::errc() || read.ptr != digits.data() + digits.size()) return std::nullopt;
    return value;
}

bool equalnocase(std::string_view left, std::string_view right)
{
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? c | 0x20 : int{c}; };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [&](char a, char b) { return lower(a) == lower(b); });
}

bool startsnocase(std::string_view text, std::string_view start)
{
    return equalnocase(text.substr(0, start.size()), start);
}

}  // namespace simulator
