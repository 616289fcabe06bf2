// SPDX-License-Identifier: ISC
// web-server: the router's web server as far as a page sees it. Static files, and behind
// sessions JSON-RPC over the bus and event streams at /ubus.
#include <cstdio>
#include <cstdlib>
#include <getopt.h>
#include <httplib.h>
#include <signal.h>
#include <string>

#include "simulator/web/rpc.h"
#include "simulator/web/stream.h"

namespace
{

constexpr char usage[] = "usage: web-server --listen-fd N --www FOLDER [--access FOLDER]\n";

constexpr std::size_t threads = 32;  // each open stream takes one

// Nothing but the page's own files and its own server; the LuCI view brings no page of its own.
constexpr char policy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
    "connect-src 'self'; base-uri 'none'; form-action 'self'; frame-ancestors 'none'";

// Serves a socket that listens already: the port may lie outside the sandbox.
class socket_server : public httplib::Server
{
public:
    explicit socket_server(int fd)
    {
        svr_sock_ = fd;
    }
};

httplib::Server *running = nullptr;

}  // namespace

int main(int argc, char **argv)
{
    int fd = -1;
    std::string www;
    std::string access = "/usr/share/rpcd/acl.d";
    static const option names[] = {{"listen-fd", required_argument, nullptr, 'l'},
                                   {"www", required_argument, nullptr, 'w'},
                                   {"access", required_argument, nullptr, 'a'},
                                   {nullptr, 0, nullptr, 0}};
    for (int letter = 0; (letter = getopt_long(argc, argv, "", names, nullptr)) != -1;) {
        if (letter == 'l') fd = std::atoi(optarg);
        if (letter == 'w') www = optarg;
        if (letter == 'a') access = optarg;
        if (letter == '?') fd = -1;
    }
    if (fd < 0 || www.empty() || optind != argc) {
        std::fputs(usage, stderr);
        return 2;
    }

    web_sessions sessions("rpcd", access);
    socket_server server(fd);
    if (!server.set_mount_point("/", www,
                                {{"Content-Security-Policy", policy},
                                 {"X-Content-Type-Options", "nosniff"},
                                 {"Cache-Control", "no-cache"}})) {
        std::fprintf(stderr, "web-server: no folder %s\n", www.c_str());
        return 1;
    }
    // A browser runs a module only when it comes as a script.
    server.set_file_extension_and_mimetype_mapping("js", "text/javascript");
    server.set_file_extension_and_mimetype_mapping("mjs", "text/javascript");
    server.Post("/ubus", [&](const httplib::Request &request, httplib::Response &response) {
        response.set_content(rpc_answer(sessions, request.body), "application/json");
    });
    server.Get("/ubus/subscribe/([^/]+)",
               [&](const httplib::Request &request, httplib::Response &response) {
                   stream_answer(sessions, request, response);
               });
    server.new_task_queue = [] { return new httplib::ThreadPool(threads); };
    running = &server;
    for (const int number : {SIGINT, SIGTERM})
        signal(number, [](int) { running->stop(); });
    return server.listen_after_bind() ? 0 : 1;
}
