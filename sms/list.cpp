// SPDX-License-Identifier: ISC
// The received-message ring and its file.
#include "sms/list.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "core/record/paths.h"
#include "core/record/text.h"
#include "core/record/trace.h"

namespace
{

constexpr mode_t listmode = 0666;  // less the umask, as any file of the daemon

// Writes, syncs and closes; the descriptor is closed in any case.
bool modem_writeimage(int fd, const sms_list &list)
{
    const ssize_t written = write(fd, &list, sizeof(list));
    if (written >= 0 && written != static_cast<ssize_t>(sizeof(list))) errno = ENOSPC;
    const bool done = written == static_cast<ssize_t>(sizeof(list)) && fsync(fd) == 0;
    const int error = errno;
    const bool closed = close(fd) == 0;
    if (!done) errno = error;
    return done && closed;
}

void modem_repairlist(sms_list &list)
{
    constexpr std::int32_t last = modem_smslistmax;
    if (list.numsms < 0 || list.numsms > last) list.numsms = 0;
    for (sms_entry &entry : list.entries) {
        entry.phone[sizeof(entry.phone) - 1] = '\0';
        entry.timestamp[sizeof(entry.timestamp) - 1] = '\0';
        entry.text[sizeof(entry.text) - 1] = '\0';
    }
}

}  // namespace

int modem_writelist(const sms_list &list, const char *path)
{
    char temporary[128];
    modem_settext(temporary, "%s.new", path);
    const int fd = open(temporary, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, listmode);
    if (fd == -1) return -1;
    if (!modem_writeimage(fd, list) || rename(temporary, path) != 0) {
        const int error = errno;
        (void)unlink(temporary);  // the cause of the failure matters more
        errno = error;
        return -1;
    }
    sync();
    return 0;
}

int modem_readlist(sms_list &list, const char *path)
{
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd == -1) return -1;
    const ssize_t nbytes = read(fd, &list, sizeof(list));
    const int error = errno;
    (void)close(fd);  // only read
    modem_repairlist(list);
    errno = error;
    return nbytes < 0 ? -1 : 0;
}

int modem_savelistsms(modem_state *pmod)
{
    if (modem_writelist(pmod->sms_list, modem_smsfilepath) == 0) return 0;
    modem_trace("modem_savelistsms: fopen() done error=%s\n", std::strerror(errno));  // sic
    return -1;
}

int modem_loadlistsms(modem_state *pmod)
{
    if (modem_readlist(pmod->sms_list, modem_smsfilepath) != 0) {
        modem_trace("modem_loadlistsms: fopen() done error=%s\n", std::strerror(errno));  // sic
        return -1;
    }
    for (std::int32_t k = 1; k <= pmod->sms_list.numsms; k++) {
        const sms_entry &entry = pmod->sms_list.entries[k - 1];
        modem_trace("modem_loadlistsms: numsms=%d\n", k);
        modem_trace("modem_loadlistsms: phone=%s\n", entry.phone);
        modem_trace("modem_loadlistsms: timestamp=%s\n", entry.timestamp);
        modem_trace("modem_loadlistsms: text=%s\n\n", entry.text);
    }
    return 0;
}

int modem_appendsms(modem_state *pmod, const char *phone, const char *timestamp, const char *text)
{
    sms_list &list = pmod->sms_list;
    constexpr std::int32_t last = modem_smslistmax;
    const std::int32_t position = list.numsms < last ? list.numsms + 1 : 1;
    sms_entry &entry = list.entries[position - 1];
    modem_copytext(entry.phone, phone);
    modem_copytext(entry.timestamp, timestamp);
    modem_copytext(entry.text, text);
    list.numsms = position;
    (void)modem_savelistsms(pmod);  // traced; the next save writes this message too
    return position;
}
