// SPDX-License-Identifier: ISC
// The worker thread: initialisations and USSD waits, so that the bus never waits for them.
#pragma once

// Thread entry; takes the record. Result 0 after an orderly end, -1 when the pipe cannot be made.
void *modem_task(void *record);
