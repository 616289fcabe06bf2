// SPDX-License-Identifier: ISC
/*
 * Event loop: timers, a list in order of deadlines.
 */
#include <limits.h>
#include <time.h>

#include "uloop_internal.h"

static LIST_HEAD(timers);

static struct timeval now(void)
{
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (struct timeval){.tv_sec = ts.tv_sec, .tv_usec = (suseconds_t)(ts.tv_nsec / 1000)};
}

static int64_t microseconds(const struct timeval *from, const struct timeval *to)
{
    return ((int64_t)to->tv_sec - from->tv_sec) * 1000000 + (to->tv_usec - from->tv_usec);
}

/* Whole milliseconds, the rest truncated. */
static int64_t milliseconds(const struct timeval *from, const struct timeval *to)
{
    return microseconds(from, to) / 1000;
}

int uloop_timeout_add(struct uloop_timeout *timeout)
{
    if (timeout->pending) return -1;
    struct uloop_timeout *later;
    list_for_each_entry(later, &timers, list)
    {
        if (microseconds(&timeout->time, &later->time) > 0) break;
    }
    list_add_tail(&timeout->list, &later->list);
    timeout->pending = true;
    return 0;
}

int uloop_timeout_set(struct uloop_timeout *timeout, int msecs)
{
    if (timeout->pending) uloop_timeout_cancel(timeout);
    if (msecs < 0) msecs = 0;
    timeout->time = now();
    timeout->time.tv_sec += msecs / 1000;
    timeout->time.tv_usec += (msecs % 1000) * 1000L;
    if (timeout->time.tv_usec >= 1000000) {
        timeout->time.tv_sec++;
        timeout->time.tv_usec -= 1000000;
    }
    return uloop_timeout_add(timeout);
}

int uloop_timeout_cancel(struct uloop_timeout *timeout)
{
    if (!timeout->pending) return -1;
    list_del(&timeout->list);
    timeout->pending = false;
    return 0;
}

int64_t uloop_timeout_remaining64(struct uloop_timeout *timeout)
{
    if (!timeout->pending) return -1;
    const struct timeval current = now();
    return milliseconds(&current, &timeout->time);
}

void uloop_runtimers(void)
{
    const struct timeval current = now();
    while (!list_empty(&timers)) {
        struct uloop_timeout *t = list_first_entry(&timers, struct uloop_timeout, list);
        if (milliseconds(&current, &t->time) > 0) return;
        uloop_timeout_cancel(t);
        if (t->cb != NULL) t->cb(t);
    }
}

int uloop_nexttimer(void)
{
    if (list_empty(&timers)) return -1;
    const int64_t left =
        uloop_timeout_remaining64(list_first_entry(&timers, struct uloop_timeout, list));
    if (left <= 0) return 0;
    return left > INT_MAX ? INT_MAX : (int)left;
}

void uloop_canceltimers(void)
{
    while (!list_empty(&timers))
        uloop_timeout_cancel(list_first_entry(&timers, struct uloop_timeout, list));
}
