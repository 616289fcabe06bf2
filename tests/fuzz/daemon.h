// SPDX-License-Identifier: ISC
// The daemon's record as its bus handlers meet it in operation.
#pragma once

#include <cstring>
#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <libubus.h>

#include "bus/request.h"
#include "core/record/pmod.h"
#include "core/record/text.h"
#include "fuzz/folder.h"
#include "fuzz/mutate.h"
#include "monitor/defaults.h"

// The daemon behind its object, but for the modem, the list file and the network service.
struct daemon_record {
    const fuzz_folder folder;
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
