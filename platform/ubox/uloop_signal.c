// SPDX-License-Identifier: ISC
/*
 * Event loop: signals.
 */
#include <errno.h>
#include <unistd.h>

#include "uloop_internal.h"

volatile sig_atomic_t uloop_signal;
int uloop_wakefd = -1;

static struct sigaction former_int, former_term;

static void on_stop(int signo)
{
    const int saved = errno;
    uloop_signal = signo;
    uloop_cancelled = true;
    const ssize_t written = write(uloop_wakefd, "w", 1);
    (void)written; /* a full pipe wakes the loop as well */
    errno = saved;
}

/* A disposition that somebody else has chosen stays. */
static void install(int signo, void (*handler)(int), struct sigaction *former)
{
    struct sigaction action = {.sa_handler = handler};
    sigemptyset(&action.sa_mask);
    if (sigaction(signo, NULL, former) == 0 && former->sa_handler == SIG_DFL)
        sigaction(signo, &action, NULL);
}

static void restore(int signo, const struct sigaction *former)
{
    struct sigaction current;
    if (sigaction(signo, NULL, &current) == 0 && current.sa_handler == on_stop)
        sigaction(signo, former, NULL);
}

void uloop_setsignals(void)
{
    struct sigaction former_pipe;
    install(SIGINT, on_stop, &former_int);
    install(SIGTERM, on_stop, &former_term);
    install(SIGPIPE, SIG_IGN, &former_pipe);
}

void uloop_restoresignals(void)
{
    restore(SIGINT, &former_int);
    restore(SIGTERM, &former_term);
}
