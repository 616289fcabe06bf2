// SPDX-License-Identifier: ISC
// What the script reads out of replies. Pure; any thread.
#pragma once

#include <string_view>

// The word behind `marker`, which must stand at the head of the reply; with a null marker the first
// word. Empty when the reply has another shape.
std::string_view modem_readword(std::string_view reply, const char *marker);

// What a reply to AT+CPIN? says that the card waits for ("READY": for nothing); empty when it does
// not tell.
std::string_view modem_readsimlock(std::string_view reply);
