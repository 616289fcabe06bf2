// SPDX-License-Identifier: ISC
// Waiting for text on a serial port: the one loop for the AT port and the second port.
//
// A port has a timer beside it, and both stand in one array as poll() takes it. Nothing is armed
// before and after a call. Blocks up to the time-out; for the thread that owns the port at the
// time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <poll.h>
#include <span>
#include <string_view>

#include "core/record/limits.h"

// What the text received so far amounts to.
enum class modem_match {
    none,      // nothing yet: the timer decides
    partial,   // more of it is surely on its way: read on before the timer is looked at
    complete,  // the wait is over
};

enum class modem_waitend { matched, expired, pollfailed, readfailed };

struct modem_wait {
    pollfd (&polled)[2];                      // the port, its timer
    std::uint8_t (&chunk)[modem_atreplymax];  // of one read
    modem_replytext &text;                    // what has been received
    std::int32_t &length;                     // characters of it, at the begin those there already
    // Looks at the text after every read; `seeker` is whatever it needs and finds.
    modem_match (*match)(std::string_view text, void *seeker);
    void *seeker;
};

// Reads until the text matches, at most `timeout` ms. A failure leaves its cause in errno.
modem_waitend modem_await(const modem_wait &wait, unsigned timeout);

// "poll()" or "read()", the failed call of such an end.
const char *modem_failedcall(modem_waitend end);

// Takes up the octets of one read behind `length` characters already in `text`; a chunk that does
// not fit starts the text anew. Terminates and gives the new length.
std::size_t modem_accumulate(modem_replytext &text,
                             std::size_t length,
                             std::span<const std::uint8_t> chunk);
