// SPDX-License-Identifier: ISC
// Bus calls through the command line client, one process a call: calls of several browsers run side
// by side, as they do with the router's web server, and a text passes as the octets it has.
#pragma once

#include <string>
#include <sys/types.h>

#include <json-c/json.h>

struct bus_answer {
    int status = 0;     // of the bus; 255: no bus
    std::string reply;  // JSON text; empty without reply data
};

// Waits up to `timeout` seconds for the answer.
bus_answer bus_call(const std::string &object,
                    const std::string &method,
                    json_object *arguments,
                    int timeout);

// Whether somebody offers the object.
bool bus_has(const std::string &object);

// {OBJECT:{METHOD:{ARGUMENT:TYPE}}} of the objects that match the pattern, as JSON text.
std::string bus_list(const std::string &pattern);

// The lines of `ubus subscribe OBJECT`; the program ends with this.
class bus_lines
{
public:
    enum outcome { none, one, end };

    explicit bus_lines(const std::string &object);
    ~bus_lines();
    bus_lines(const bus_lines &) = delete;
    bus_lines &operator=(const bus_lines &) = delete;

    // Waits for at most `timeout` ms.
    outcome next(std::string &line, int timeout);

private:
    int out = -1;
    pid_t pid;
    std::string text;  // read, and not given out yet
};
