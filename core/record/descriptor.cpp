// SPDX-License-Identifier: ISC
// Closing descriptors.
#include "core/record/descriptor.h"

#include <unistd.h>

void modem_closefd(int &fd)
{
    if (fd != -1) (void)close(fd);  // nothing can be done about a failed close
    fd = -1;
}
