// SPDX-License-Identifier: ISC
// The file of received messages: reading it, and replacing it so that it is never half written.
//
// Any thread, one at a time. The file's name is the one given, or what symbolic links there lead
// to; while it is written the new image stands beside it, under the same name and ".new".
#pragma once

#include "core/record/state.h"

// Writes the list and waits until it has reached the flash. At any moment, also when power fails,
// the file holds either the former list or this one. A new file is its owner's alone (0600); an
// existing one keeps its mode and, as far as the process may give files away, its owner. Where no
// file can be put in its place (a file that is a mount point, a folder that takes no new files) or
// where none must be (a device), it is written in place; then an ill-timed loss of power leaves a
// mixture of both lists. 0, or -1 with errno, the former file in place.
int modem_writelist(const sms_list &list, const char *path);

// Reads the octets alone: a shorter file leaves the rest of the list as it was. A count that no
// ring has makes it empty; texts are terminated. 0, or -1 with errno when it cannot be read.
int modem_readlist(sms_list &list, const char *path);

// Removes what a save that was cut off has left beside the file.
void modem_removeleftover(const char *path);
