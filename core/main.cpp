// Process entry.
#include <syslog.h>

#include "core/modem.h"

int main()
{
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
