// SPDX-License-Identifier: ISC
// Process entry.
#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include "core/life/modem.h"
#include "core/life/signals.h"

namespace
{

// A standard descriptor that the starter has closed would become the log's or the modem's, and take
// the traces there.
void modem_holdstandard()
{
    int fd = open("/dev/null", O_RDWR);
    while (fd >= 0 && fd <= STDERR_FILENO)
        fd = open("/dev/null", O_RDWR);
    if (fd >= 0) (void)close(fd);
}

}  // namespace

int main()
{
    modem_holdsignals();
    modem_holdstandard();
    openlog("kelvantorium", LOG_PID | LOG_CONS | LOG_NDELAY, LOG_USER);
    syslog(LOG_INFO, "main: start");
    if (modem() != 0) {
        syslog(LOG_ERR, "main: modem() done error");
        syslog(LOG_ERR, "main: done error");
        return -1;
    }
    syslog(LOG_INFO, "main: done ok");
    closelog();
    return 0;
}
