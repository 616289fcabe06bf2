// SPDX-License-Identifier: ISC
// The daemon's one record. Allocated zero-filled at start-up, reached through `pmod`, freed last.
//
// Two threads share it without a lock. Ownership moves with the control words (core/record/flags.h)
// and the command pipe (core/record/command.h), always in the order data, flag, command.
#pragma once

#include <cstdint>
#include <poll.h>
#include <pthread.h>
#include <termios.h>

#include "core/record/limits.h"
#include "core/record/status.h"

struct ubus_context;

struct sms_entry {
    char phone[16];
    char timestamp[20];  // dd-mm-20yy hh:mm:ss
    modem_smstext text;  // CP1251, all parts joined
};

// Its octets are the list file's image.
struct sms_list {
    std::int32_t numsms;  // ring position of the most recent message, 1 to 32; 0: none
    sms_entry entries[modem_smslistmax];
};

struct longsms_entry {
    std::uint32_t recvparts;
    std::uint8_t randref[2];  // (0, 0): a free entry
    char timestamp[20];
    modem_parttext parts[modem_smspartsmax];
};

static_assert(sizeof(sms_entry) == 997, "an entry of the list file has 997 octets");
static_assert(sizeof(sms_list) == 4 + 32 * 997, "the list file has 31908 octets, unpadded");
static_assert(sizeof(longsms_entry) == 992, "a waiting long message has 992 octets, unpadded");

struct modem_state {
    modem_status published;  // event loop; all that clients see
    modem_status notified;   // event loop; the published one as subscribers know it
    modem_status working;    // worker; the event loop only where a hand-over follows

    // Control words, 0 or 1, touched through core/record/flags.h only.
    std::uint32_t isinitpending;   // an initialisation is ordered and not finished
    std::uint32_t isstatuscopied;  // the working copy has been published since
    std::uint32_t isussdready;     // a USSD outcome waits in the working copy
    std::uint32_t isussdcopied;    // ... and has been published
    std::uint32_t isussdpending;   // a USSD wait is ordered and not finished
    std::uint32_t isltedown;       // the daemon took the data interface down
    std::uint32_t istaskalive;     // the worker can still finish what is pending
    std::uint32_t isstopping;      // the event loop has ended: the worker repeats no command

    // Last values sent to the indicators; -1: none since the last initialisation.
    std::int32_t lastledgnss;
    std::int32_t lastledslot;
    std::int32_t lastledlevel;

    std::uint32_t reinitcounter;
    std::uint32_t untoldsms;  // event loop; stored messages of which subscribers do not know yet

    modem_argumenttext sms_number;  // recipients of the request, separated by ';'
    modem_argumenttext sms_text;    // CP1251

    int fdcmd[2];  // command pipe: read end, write end
    pollfd pollcmd;
    pollfd pollat[2];    // AT port, its timer
    pollfd pollussd[2];  // second port, its timer
    std::uint8_t taskprio;
    pthread_t taskid;  // all ones: no thread
    int fdtimerat;
    int fdtimerat2;
    int fdcom;   // AT port, interface 4 of the modem
    int fdcom2;  // second port, interface 5
    int ismodemconnect;
    int ismodemconnect2;
    termios oldtio;
    termios oldtio2;

    modem_argumenttext sms_numbers[modem_smsnumbersmax];
    char atcmd[512];
    modem_replytext atanswer;
    std::int32_t atanswerlen;
    std::uint8_t atchunk[modem_atreplymax];
    std::uint8_t pdu_octets[modem_pduoctetsmax];

    ::sms_list sms_list;
    longsms_entry longsms_table[modem_longsmsmax];

    ubus_context *ubusctx;
};
