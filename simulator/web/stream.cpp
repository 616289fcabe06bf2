// SPDX-License-Identifier: ISC
// The event stream.
#include "simulator/web/stream.h"

#include <memory>
#include <string>
#include <string_view>

#include "simulator/web/bustool.h"

namespace
{

constexpr int look = 200;  // ms between two looks whether the reader is still there

// An event of a line "{ "TYPE": JSON }".
std::string eventof(std::string_view line)
{
    constexpr std::string_view head = "{ \"", between = "\": ", tail = " }";
    const std::size_t colon = line.find(between);
    if (!line.starts_with(head) || !line.ends_with(tail) || colon == std::string_view::npos)
        return "";
    const std::string_view type = line.substr(head.size(), colon - head.size());
    line.remove_suffix(tail.size());
    line.remove_prefix(colon + between.size());
    return "event: " + std::string(type) + "\ndata: " + std::string(line) + "\n\n";
}

}  // namespace

void stream_answer(web_sessions &sessions,
                   const httplib::Request &request,
                   httplib::Response &response)
{
    constexpr std::string_view bearer = "Bearer ";
    const std::string object = request.matches[1];
    const std::string given = request.get_header_value("Authorization");
    if (!given.starts_with(bearer) ||
        !sessions.mayaccess(given.substr(bearer.size()), object, ":subscribe")) {
        response.status = 403;
        return;
    }
    if (!bus_has(object)) {
        response.status = 404;
        return;
    }
    const auto lines = std::make_shared<bus_lines>(object);
    response.set_chunked_content_provider(
        "text/event-stream", [lines](std::size_t, httplib::DataSink &sink) {
            std::string line;
            switch (lines->next(line, look)) {
                case bus_lines::none:
                    return sink.is_writable();
                case bus_lines::end:
                    sink.done();
                    return true;
                case bus_lines::one:
                    break;
            }
            const std::string event = eventof(line);
            return event.empty() || sink.write(event.data(), event.size());
        });
}
