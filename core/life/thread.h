// SPDX-License-Identifier: ISC
// Thread attributes and priorities. Messages go to standard output, headed by the caller's name.
#pragma once

#include <cstdint>
#include <pthread.h>

struct common_attr {
    pthread_attr_t attr;
    std::uint32_t stacksize;  // octets requested; 0: the default
};

// Initialises the attributes with a stack of at least 128 KiB. 0 or -1.
int common_setattr(const char *namecaller, common_attr *pattr);
// Destroys the attributes. 0 or -1.
int common_clearattr(const char *namecaller, common_attr *pattr);
// SCHED_FIFO with `priority`, or SCHED_OTHER for 0. Always 0: without the privilege the thread
// simply keeps its policy.
int common_setpriority(pthread_t thread, std::uint8_t priority);
