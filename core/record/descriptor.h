// SPDX-License-Identifier: ISC
// Descriptors of the record; -1: none.
#pragma once

// Closes a descriptor unless it is -1, and makes it -1.
void modem_closefd(int &fd);
