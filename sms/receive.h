// SPDX-License-Identifier: ISC
// Taking messages in from the modem's storage.
//
// Event loop. Each call is one AT exchange and blocks up to `timeout` ms, as modem_sendat.
#pragma once

struct modem_state;

// Reads the message at a storage index into the ring, or holds it as a part of a long one.
// modematOk: the index held a message, stored, held or dropped, and is to be deleted; modematError:
// nothing usable there; else no answer.
int modem_readsms(modem_state *pmod, int index, unsigned timeout);

// Deletes the message at a storage index. Result as modem_sendat; a refusal is logged, once
// until a deletion there succeeds, for the message will be read and stored again.
int modem_delsms(modem_state *pmod, int index, unsigned timeout);
