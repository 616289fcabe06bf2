/* What the preloaded counter of heap requests shares with the measuring program. */
#pragma once

#define HEAP_ENVIRONMENT "BENCH_HEAP" /* names the file of the counts */

/* By whose code asked, the C library's own frames skipped. */
enum heap_owner {
    heap_daemon, /* the daemon calls the allocator itself */
    heap_libc,   /* the C library does, in a function that the daemon calls */
    heap_ubus,
    heap_ubox,
    heap_uci,
    heap_other,
    heap_owners
};

struct heap_counts {
    unsigned long requests[heap_owners];
};
