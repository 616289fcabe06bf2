// SPDX-License-Identifier: ISC
/*
 * Event loop: signals and children.
 */
#include <errno.h>
#include <sys/wait.h>
#include <unistd.h>

#include "uloop_internal.h"

bool uloop_handle_sigchld = true;
volatile sig_atomic_t uloop_signal;
volatile sig_atomic_t uloop_childseen;
int uloop_wakefd = -1;

static LIST_HEAD(processes);
static struct sigaction former_int, former_term, former_chld;

static void wake(void)
{
    const int saved = errno;
    const ssize_t written = write(uloop_wakefd, "w", 1);
    (void)written; /* a full pipe wakes the loop as well */
    errno = saved;
}

static void on_stop(int signo)
{
    uloop_signal = signo;
    uloop_cancelled = true;
    wake();
}

static void on_child(int signo)
{
    (void)signo;
    uloop_childseen = 1;
    wake();
}

/* A disposition that somebody else has chosen stays. */
static void install(int signo, void (*handler)(int), struct sigaction *former)
{
    struct sigaction action = {.sa_handler = handler};
    sigemptyset(&action.sa_mask);
    if (sigaction(signo, NULL, former) == 0 && former->sa_handler == SIG_DFL)
        sigaction(signo, &action, NULL);
}

static void restore(int signo, void (*handler)(int), const struct sigaction *former)
{
    struct sigaction current;
    if (sigaction(signo, NULL, &current) == 0 && current.sa_handler == handler)
        sigaction(signo, former, NULL);
}

void uloop_setsignals(void)
{
    struct sigaction former_pipe;
    install(SIGINT, on_stop, &former_int);
    install(SIGTERM, on_stop, &former_term);
    if (uloop_handle_sigchld) install(SIGCHLD, on_child, &former_chld);
    install(SIGPIPE, SIG_IGN, &former_pipe);
}

void uloop_restoresignals(void)
{
    restore(SIGINT, on_stop, &former_int);
    restore(SIGTERM, on_stop, &former_term);
    restore(SIGCHLD, on_child, &former_chld);
}

static struct uloop_process *find_process(pid_t pid)
{
    struct uloop_process *p;
    list_for_each_entry(p, &processes, list)
    {
        if (p->pid == pid) return p;
    }
    return NULL;
}

void uloop_reap(void)
{
    if (!uloop_childseen) return;
    uloop_childseen = 0;
    for (;;) {
        int status = 0;
        const pid_t pid = waitpid(-1, &status, WNOHANG);
        if (pid < 0 && errno == EINTR) continue;
        if (pid <= 0) return;
        struct uloop_process *p = find_process(pid);
        if (p == NULL) continue;
        uloop_process_delete(p);
        if (p->cb != NULL) p->cb(p, status);
    }
}

void uloop_forgetprocesses(void)
{
    while (!list_empty(&processes))
        uloop_process_delete(list_first_entry(&processes, struct uloop_process, list));
}

int uloop_process_add(struct uloop_process *p)
{
    if (p->pending) return -1;
    list_add_tail(&p->list, &processes);
    p->pending = true;
    return 0;
}

int uloop_process_delete(struct uloop_process *p)
{
    if (!p->pending) return -1;
    list_del(&p->list);
    p->pending = false;
    return 0;
}
