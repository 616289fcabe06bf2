// SPDX-License-Identifier: ISC
/* Counts of requests to the heap, shared with the measuring program. */
#pragma once

#define HEAP_PATH "/run/heap.counts"
#define HEAP_OTHERS 5

/* What the name of the file holds whose code asks: the daemon first. */
static const char *const heap_owners[HEAP_OTHERS] = {"/kelvantorium-waitless", "/libubus.",
                                                     "/libubox.", "/libuci.", "/libc."};

struct heap_counts {
    unsigned long requests[HEAP_OTHERS + 1];
};
