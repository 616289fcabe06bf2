// SPDX-License-Identifier: ISC
// Opening and configuring the modem's serial ports.
#include "at/port.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <syslog.h>

#include "core/record/descriptor.h"
#include "core/record/paths.h"
#include "core/record/state.h"

namespace
{

bool modem_openport(int &fd, const char *path)
{
    fd = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_EXCL);
    if (fd != -1) return true;
    syslog(LOG_ERR, "modem_comport_connect: open() done error: %s", std::strerror(errno));
    return false;
}

}  // namespace

int modem_comport_connect(modem_state *pmod)
{
    pmod->ismodemconnect = 0;
    pmod->ismodemconnect2 = 0;
    modem_closefd(pmod->fdcom);
    modem_closefd(pmod->fdcom2);
    if (!modem_openport(pmod->fdcom, modem_atportpath)) return -1;
    if (!modem_openport(pmod->fdcom2, modem_secondportpath)) return -1;
    (void)tcgetattr(pmod->fdcom, &pmod->oldtio);  // kept for inspection only, never restored
    (void)tcgetattr(pmod->fdcom2, &pmod->oldtio2);

    // Raw by being empty. No speed: these ports are virtual, and B0 leaves them as they are.
    termios raw = {};
    raw.c_cflag = CREAD | CLOCAL;
    if (tcsetattr(pmod->fdcom, TCSANOW, &raw) != 0 || tcsetattr(pmod->fdcom2, TCSANOW, &raw) != 0) {
        const int error = errno;
        modem_closefd(pmod->fdcom);
        modem_closefd(pmod->fdcom2);
        syslog(LOG_ERR, "modem_comport_connect: tcsetattr() done error: %s", std::strerror(error));
        return -1;
    }
    pmod->pollat[0] = {pmod->fdcom, POLLIN, 0};
    pmod->pollussd[0] = {pmod->fdcom2, POLLIN, 0};
    pmod->ismodemconnect = 1;
    pmod->ismodemconnect2 = 1;
    return 0;
}
