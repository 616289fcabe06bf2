// SPDX-License-Identifier: ISC
/*
 * Between the parts of the event loop.
 */
#ifndef ULOOP_INTERNAL_H
#define ULOOP_INTERNAL_H

#include <libubox/uloop.h>

/* Stored by the signal handler, read by the loop. */
extern volatile sig_atomic_t uloop_signal;

/* Write end of the wake-up pipe: the handler's byte ends the wait that it would otherwise miss. */
extern int uloop_wakefd;

void uloop_setsignals(void);
void uloop_restoresignals(void);

/* Runs every timer that is due at the moment of the call. */
void uloop_runtimers(void);
/* ms until the next timer, 0 when overdue, -1 without timers. */
int uloop_nexttimer(void);
void uloop_canceltimers(void);

#endif
