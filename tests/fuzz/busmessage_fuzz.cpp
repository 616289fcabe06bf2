// SPDX-License-Identifier: ISC
// Octets on the bus: to the daemon's object from the broker, and to the broker from a client. Both
// answer with sound messages and keep nothing of a client that has gone.
#include <cstring>
#include <fcntl.h>
#include <linux/sockios.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

extern "C" {
#include <ubus/internal.h>
#include <ubusd/ubusd.h>
}

#include "bus/object.h"
#include "bus/request.h"
#include "core/record/pmod.h"
#include "core/record/text.h"
#include "fuzz/folder.h"
#include "fuzz/mutate.h"
#include "monitor/defaults.h"

namespace
{

using namespace std::string_view_literals;

// Stand for the numbers of the object that is called, and of the caller.
constexpr std::string_view objecttoken = "OBJ1";
constexpr std::string_view callertoken = "PEER";
constexpr std::uint32_t objectid = 0x4F424A31;

// Registers an object "own".
constexpr std::string_view addobject = "\0\6\0\1\0\0\0\0\0\0\0\x0c\2\0\0\x08own\0"sv;

// The daemon behind its object, but for the modem, the list file and the network service.
struct daemon_record {
    modem_state state = {};
    modem_state start = {};
    ubus_object *object = nullptr;
    unsigned asked = 0;  // commands for the modem

    daemon_record()
    {
        (void)setlogmask(LOG_MASK(LOG_DEBUG));
        fuzz_require(pipe2(start.fdcmd, O_NONBLOCK | O_CLOEXEC) == 0, "a pipe");
        start.fdcom = start.fdcom2 = -1;
        start.istaskalive = 1;
        start.sms_list.numsms = 3;
        (void)modem_setstatusdefaults(start.published);
        modem_copytext(start.published.info.kelvantorium.state, "op");
        modem_copytext(start.published.info.network.state, "connected");
        modem_copytext(start.published.info.sms.recv_counter, "3");
        start.working = start.published;
        pmod = &state;
        fuzz_require(modem_preparereply() == 0, "a buffer");
    }
    void begin()
    {
        state = start;
        asked = 0;
        char commands[1024];
        while (read(state.fdcmd[0], commands, sizeof(commands)) > 0) {
        }
    }
    void check() const
    {
        const auto ends = [](const auto &field) {
            fuzz_require(std::memchr(field, '\0', sizeof(field)) != nullptr, "a text ends");
        };
        const modem_info &info = state.published.info;
        ends(info.kelvantorium.reason);
        ends(info.ussd.cmd);
        ends(info.sms.recv_counter);
        ends(state.sms_number);
        ends(state.sms_text);
        for (const char *word : {"op", "init", "error"})
            if (modem_isword(info.kelvantorium.state, word)) return;
        fuzz_require(false, "a state's word");
    }
};

daemon_record &daemon()
{
    static daemon_record record;
    return record;
}

// Reads every field as a handler or a client may.
void readfields(blob_attr *table, int depth)
{
    blob_attr *field = nullptr;
    std::size_t rest = 0;
    blobmsg_for_each_attr(field, table, rest)
    {
        if (!blobmsg_check_attr_len(field, false, rest)) return;
        const int type = blobmsg_type(field);
        if (type == BLOBMSG_TYPE_STRING)
            (void)std::string_view(blobmsg_get_string(field)).find('x');
        if ((type == BLOBMSG_TYPE_TABLE || type == BLOBMSG_TYPE_ARRAY) && depth < 16)
            readfields(field, depth + 1);
    }
}

// Every reply begins with its result.
void checkreply(blob_attr *reply)
{
    blob_attr *first = static_cast<blob_attr *>(blob_data(reply));
    fuzz_require(blob_len(reply) >= sizeof(blob_attr) && blobmsg_check_attr(first, true),
                 "a sound field");
    const std::string_view result = blobmsg_get_string(first);
    fuzz_require(std::string_view(blobmsg_name(first)) == "result", "a result");
    fuzz_require(result == "ok" || result.starts_with("error: "), "one that has a meaning");
    readfields(reply, 0);
}

// What comes back over a connection: messages, and whole ones.
struct answers {
    int fd;
    bool daemons = false;  // the daemon's replies
    ubus_reader reader = {};
    bool ended = false;
    std::uint32_t caller = 0;
    std::uint32_t object = 0;  // the latest that was named

    // True when there was at least one.
    bool take()
    {
        bool any = false;
        ubus_msg *message = nullptr;
        ubus_read result = ubus_reader_next(&reader, fd, &message);
        for (; result == UBUS_READ_MESSAGE; result = ubus_reader_next(&reader, fd, &message)) {
            blob_attr *attributes[UBUS_ATTR_MAX];
            ubus_msg_parse(message, attributes);
            if (message->hdr.type == UBUS_MSG_HELLO) caller = message->hdr.peer;
            if (attributes[UBUS_ATTR_OBJID] != nullptr)
                object = blob_get_u32(attributes[UBUS_ATTR_OBJID]);
            if (daemons && message->hdr.type == UBUS_MSG_DATA)
                checkreply(attributes[UBUS_ATTR_DATA]);
            free(message);
            any = true;
        }
        fuzz_require(result != UBUS_READ_INVALID, "a sound length");
        ended = result == UBUS_READ_END;
        return any;
    }
    void finish()
    {
        fuzz_require(ended || reader.got == 0, "whole messages");
        free(reader.msg);
        close(fd);
    }
};

// The library reads `input` and calls the handlers.
void fuzzdaemon(std::string_view input)
{
    int ends[2];
    fuzz_require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) == 0, "a socket");
    ubus_context context = {};
    daemon().begin();
    fuzz_require(modem_addobject(&context) == 0, "an object");
    ubus_object &object = *daemon().object;
    object.id = objectid;
    INIT_LIST_HEAD(&context.requests);
    INIT_LIST_HEAD(&context.pending);
    INIT_LIST_HEAD(&context.objects.list_head);
    list_add_tail(&object.avl.list, &context.objects.list_head);
    context.sock.fd = ends[0];
    struct ubus_request request = {};
    request.peer = objectid;
    request.seq = 1;
    request.data_cb = [](struct ubus_request *, int, blob_attr *reply) { readfields(reply, 0); };
    list_add_tail(&request.list, &context.requests);

    fuzz_require(write(ends[1], input.data(), input.size()) >= 0, "room in the socket");
    fuzz_require(shutdown(ends[1], SHUT_WR) == 0, "an end of the input");
    while (ubus_receive(&context))
        ubus_drain(&context);
    fuzz_require(context.sock.eof && list_empty(&context.pending), "all is read and handled");
    answers back = {ends[1], true};
    (void)back.take();
    back.finish();
    close(ends[0]);
    daemon().check();
}

struct broker {
    const scratch_folder folder;
    const std::string path = folder.path / "socket";

    broker()
    {
        fuzz_require(uloop_init() == 0 && ubusd_listen(path.c_str()) == 0, "a broker");
    }

    int connect() const
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        fuzz_require(::connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0,
                     "a connection");
        (void)uloop_run_timeout(0);
        (void)fcntl(fd, F_SETFL, O_NONBLOCK);
        return fd;
    }
};

// Puts a number, in the order of the wire, where its token is.
void replace(std::string &text, std::string_view token, std::uint32_t number)
{
    const std::string_view octets(reinterpret_cast<const char *>(&number), sizeof(number));
    for (std::size_t at = 0; (at = text.find(token, at)) != std::string::npos; at += octets.size())
        text.replace(at, token.size(), octets);
}

// Sends and runs the broker until it has read and answered everything.
void exchange(answers &back, std::string_view text)
{
    fuzz_require(write(back.fd, text.data(), text.size()) >= 0, "room in the socket");
    // A pass takes at least an octet; what has been read in part counts as unread.
    int unread = 1;
    for (std::size_t passes = 0; passes < text.size() + 16 && unread > 0; passes++) {
        (void)uloop_run_timeout(0);
        (void)back.take();
        fuzz_require(ioctl(back.fd, SIOCOUTQ, &unread) == 0, "a view into the socket");
    }
    for (int idle = 0; idle < 4; idle++) {
        (void)uloop_run_timeout(0);
        if (back.take()) idle = 0;
    }
    fuzz_require(unread == 0, "all is read");
}

// The broker reads `input` from a client that takes its answers.
void fuzzbroker(std::string input)
{
    static const broker running;
    answers back = {running.connect()};
    exchange(back, addobject);
    fuzz_require(back.object != 0, "an object");
    replace(input, objecttoken, htobe32(back.object));
    replace(input, callertoken, back.caller);
    exchange(back, input);
    back.finish();
    for (int passes = 0; passes < 10 && ubusd_object_count > 0; passes++)
        (void)uloop_run_timeout(0);
    fuzz_require(ubusd_object_count == 0, "objects go with their client");
}

}  // namespace

// Linked in the place of the genuine ones.
extern "C" {
int __wrap_ubus_add_object(ubus_context *, ubus_object *object)
{
    daemon().object = object;
    return 0;
}
int __wrap_ubus_lookup_id(ubus_context *, const char *, std::uint32_t *)
{
    return UBUS_STATUS_NOT_FOUND;
}
// int modem_savelistsms(modem_state *)
int __wrap__Z17modem_savelistsmsP11modem_state(modem_state *)
{
    return 0;
}
// int modem_sendat(modem_state *, const char *, const char *, unsigned, int)
int __wrap__Z12modem_sendatP11modem_statePKcS2_ji(
    modem_state *state, const char *command, const char *, unsigned, int)
{
    constexpr int results[] = {0, 0, 0, 2, 0, 0, 1, 0, -1};
    modem_settext(state->atcmd, "%s\r", command);
    modem_settext(state->atanswer, "\r\n%s\r\nOK\r\n", command);
    state->atanswerlen = static_cast<std::int32_t>(std::strlen(state->atanswer));
    return results[daemon().asked++ % std::size(results)];
}
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz_silence();
    const std::string_view input = fuzz_text(data, size);
    fuzzdaemon(input);
    fuzzbroker(std::string(input));
    return 0;
}
