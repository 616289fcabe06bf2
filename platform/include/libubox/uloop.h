// SPDX-License-Identifier: ISC
/*
 * Event loop: descriptors, timers, and an orderly end on SIGINT and SIGTERM.
 *
 * One loop per process, used from one thread. Structures are zeroed by their owner before the first
 * use and stay in place while registered or pending.
 */
#ifndef LIBUBOX_ULOOP_H
#define LIBUBOX_ULOOP_H

#include <signal.h>
#include <stdbool.h>
#include <stdint.h>
#include <sys/time.h>
#include <sys/types.h>

#include "list.h"

struct uloop_fd;
struct uloop_timeout;

typedef void (*uloop_fd_handler)(struct uloop_fd *u, unsigned int events);
typedef void (*uloop_timeout_handler)(struct uloop_timeout *t);

#define ULOOP_READ (1 << 0)
#define ULOOP_WRITE (1 << 1)
#define ULOOP_BLOCKING (1 << 3) /* leave O_NONBLOCK of the descriptor alone */
#define ULOOP_ERROR_CB (1 << 6) /* keep the descriptor in the loop on error or hang-up */

struct uloop_fd {
    uloop_fd_handler cb;
    int fd;
    bool eof;   /* the peer has shut down its sending side */
    bool error; /* error or hang-up; the descriptor has left the loop */
    bool registered;
    uint8_t flags;
};

struct uloop_timeout {
    struct list_head list;
    bool pending;
    uloop_timeout_handler cb;
    struct timeval time; /* CLOCK_MONOTONIC deadline */
};

extern bool uloop_cancelled;

/* 0, or -1 without a poll descriptor or wake-up pipe. Repeating it changes nothing. */
int uloop_init(void);
/* One pass that waits at most `timeout` ms; with a negative one, passes until the loop is ended.
 * Gives 0 after uloop_end, else the number of the signal. */
int uloop_run_timeout(int timeout);
void uloop_done(void);
/* True inside a running loop that has been told to stop. */
bool uloop_cancelling(void);

/* 0, or -1 with errno. Repeated, it changes the flags; without READ and WRITE it deletes. */
int uloop_fd_add(struct uloop_fd *sock, unsigned int flags);
/* 0, also when not registered. Does not close. */
int uloop_fd_delete(struct uloop_fd *sock);

int uloop_timeout_set(struct uloop_timeout *timeout, int msecs);
/* Arms for the deadline in `time`; -1 when pending. */
int uloop_timeout_add(struct uloop_timeout *timeout);
/* -1 when not pending. */
int uloop_timeout_cancel(struct uloop_timeout *timeout);
/* ms, negative when overdue; -1 when not pending. */
int64_t uloop_timeout_remaining64(struct uloop_timeout *timeout);

static inline int uloop_run(void)
{
    return uloop_run_timeout(-1);
}

static inline void uloop_end(void)
{
    uloop_cancelled = true;
}

#endif
