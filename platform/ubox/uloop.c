// SPDX-License-Identifier: ISC
/*
 * Event loop: descriptors and the passes of the loop.
 */
#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <libubox/utils.h>

#include "uloop_internal.h"

bool uloop_cancelled;

struct ready {
    struct uloop_fd *sock; /* null: deleted since */
    uint32_t events;       /* EPOLL... */
};

static int pollfd = -1;
static int depth;
static struct ready batch[10]; /* of one wait, dispatched one per pass */
static int batch_next;
static int batch_count;

static void on_wake(struct uloop_fd *sock, unsigned int events)
{
    char drop[16];
    (void)events;
    while (read(sock->fd, drop, sizeof(drop)) == (ssize_t)sizeof(drop))
        ;
}

static struct uloop_fd waker = {.cb = on_wake, .fd = -1};

static void close_descriptors(void)
{
    int *const all[] = {&pollfd, &waker.fd, &uloop_wakefd};
    for (size_t i = 0; i < ARRAY_SIZE(all); i++) {
        if (*all[i] >= 0) close(*all[i]);
        *all[i] = -1;
    }
    waker.registered = false;
}

int uloop_init(void)
{
    if (pollfd >= 0) return 0;
    int ends[2];
    pollfd = epoll_create1(EPOLL_CLOEXEC);
    if (pollfd < 0) return -1;
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        close_descriptors();
        return -1;
    }
    waker.fd = ends[0];
    uloop_wakefd = ends[1];
    if (uloop_fd_add(&waker, ULOOP_READ) != 0) {
        close_descriptors();
        return -1;
    }
    uloop_setsignals();
    return 0;
}

void uloop_done(void)
{
    if (pollfd < 0) return;
    uloop_restoresignals(); /* before its handlers lose the pipe */
    close_descriptors();
    batch_next = batch_count = 0;
    uloop_canceltimers();
}

bool uloop_cancelling(void)
{
    return depth > 0 && uloop_cancelled;
}

int uloop_fd_add(struct uloop_fd *sock, unsigned int flags)
{
    if (!(flags & (ULOOP_READ | ULOOP_WRITE))) return uloop_fd_delete(sock);

    if (!sock->registered && !(flags & ULOOP_BLOCKING)) {
        const int mode = fcntl(sock->fd, F_GETFL, 0);
        if (mode >= 0) fcntl(sock->fd, F_SETFL, mode | O_NONBLOCK);
    }
    struct epoll_event event = {.data.ptr = sock};
    if (flags & ULOOP_READ) event.events |= EPOLLIN | EPOLLRDHUP;
    if (flags & ULOOP_WRITE) event.events |= EPOLLOUT;
    if (epoll_ctl(pollfd, sock->registered ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, sock->fd, &event) != 0)
        return -1;
    sock->registered = true;
    sock->eof = false;
    sock->error = false;
    sock->flags = (uint8_t)flags;
    return 0;
}

int uloop_fd_delete(struct uloop_fd *sock)
{
    for (int i = batch_next; i < batch_count; i++) {
        if (batch[i].sock == sock) batch[i].sock = NULL;
    }
    if (!sock->registered) return 0;
    sock->registered = false;
    sock->flags = 0;
    return epoll_ctl(pollfd, EPOLL_CTL_DEL, sock->fd, NULL);
}

static void fetch(int timeout)
{
    struct epoll_event events[ARRAY_SIZE(batch)];
    const int count = epoll_wait(pollfd, events, (int)ARRAY_SIZE(events), timeout);
    batch_next = 0;
    batch_count = count > 0 ? count : 0; /* a signal is seen in the next pass */
    for (int i = 0; i < batch_count; i++)
        batch[i] = (struct ready){.sock = events[i].data.ptr, .events = events[i].events};
}

static void dispatch(struct uloop_fd *sock, uint32_t ready)
{
    unsigned int events = 0;
    if (ready & EPOLLIN) events |= ULOOP_READ;
    if (ready & EPOLLOUT) events |= ULOOP_WRITE;
    if (ready & EPOLLRDHUP) sock->eof = true;
    if (ready & (EPOLLERR | EPOLLHUP)) {
        sock->error = true;
        if (!(sock->flags & ULOOP_ERROR_CB)) uloop_fd_delete(sock);
    }
    if (sock->cb != NULL) sock->cb(sock, events);
}

/* Waits only when the last batch is used up, and dispatches one descriptor. */
static void run_one(int timeout)
{
    if (batch_next >= batch_count) fetch(timeout);
    while (batch_next < batch_count) {
        const struct ready next = batch[batch_next++];
        if (next.sock == NULL) continue;
        dispatch(next.sock, next.events);
        return;
    }
}

int uloop_run_timeout(int timeout)
{
    uloop_cancelled = false;
    uloop_signal = 0;
    depth++;
    do {
        uloop_runtimers();
        if (uloop_cancelled) break;
        int wait = uloop_nexttimer();
        if (timeout >= 0 && (wait < 0 || wait > timeout)) wait = timeout;
        run_one(wait);
    } while (!uloop_cancelled && timeout < 0);
    depth--;
    return uloop_signal;
}
