// SPDX-License-Identifier: ISC
// The file of received messages.
#include "sms/listfile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "core/record/text.h"

namespace
{

constexpr mode_t newmode = 0600;    // messages carry one-time codes
constexpr unsigned linksmax = 40;   // as many as the kernel follows
constexpr unsigned pathmax = 1024;  // octets, NUL included

// Where the list stands, and where its next image is written.
struct modem_place {
    char file[pathmax];
    char next[pathmax + 4];
};

// Puts the target of a link in the place of the link's name; a relative one begins in its folder.
bool modem_followlink(char (&path)[pathmax], std::string_view target)
{
    const char *const slash = std::strrchr(path, '/');
    const bool absolute = target.front() == '/';
    const std::size_t kept =
        absolute || slash == nullptr ? 0 : static_cast<std::size_t>(slash + 1 - path);
    if (kept + target.size() >= sizeof(path)) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::memcpy(path + kept, target.data(), target.size());
    path[kept + target.size()] = '\0';
    return true;
}

// Renaming onto a link would replace the link: the end of the chain is looked for, there or not.
bool modem_findplace(const char *path, modem_place &place)
{
    modem_copytext(place.file, path);
    for (unsigned links = 0; links < linksmax; links++) {
        char target[pathmax];
        const ssize_t length = readlink(place.file, target, sizeof(target));
        if (length <= 0) {
            modem_settext(place.next, "%s.new", place.file);
            return errno == EINVAL || errno == ENOENT;  // no link, or nothing at all
        }
        if (!modem_followlink(place.file, {target, static_cast<std::size_t>(length)})) return false;
    }
    errno = ELOOP;
    return false;
}

// Writes, syncs and closes; the descriptor is closed in any case.
bool modem_writeimage(int fd, const sms_list &list)
{
    const ssize_t written = write(fd, &list, sizeof(list));
    if (written >= 0 && written != static_cast<ssize_t>(sizeof(list))) errno = ENOSPC;
    const bool done = written == static_cast<ssize_t>(sizeof(list)) &&
                      (fsync(fd) == 0 || errno == EINVAL);  // a device has nothing to sync
    const int error = errno;
    const bool closed = close(fd) == 0;
    if (!done) errno = error;
    return done && closed;
}

bool modem_overwrite(const sms_list &list, const modem_place &place)
{
    const int fd =
        open(place.file, O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, newmode);
    if (fd == -1) return false;
    // Not emptied first: what a crash leaves is then at least as long as a list.
    [[maybe_unused]] const int cut = ftruncate(fd, sizeof(list));  // of a regular file only
    return modem_writeimage(fd, list);
}

// The folder, or what is mounted on the file, forbids a new file in the place of the former one.
bool modem_isunreplaceable(int error)
{
    constexpr int errors[] = {EBUSY, EXDEV, EROFS, EACCES, EPERM};
    for (const int one : errors) {
        if (error == one) return true;
    }
    return false;
}

// Without the privilege to give files away the new one stays the daemon's own; its mode is kept.
void modem_keepattributes(int fd, const struct stat &former)
{
    [[maybe_unused]] const int given = fchown(fd, former.st_uid, former.st_gid);
    (void)fchmod(fd, former.st_mode & 07777U);  // after the owner, whose change clears bits
}

// `former` null: there is no file yet.
bool modem_replace(const sms_list &list, const modem_place &place, const struct stat *former)
{
    (void)unlink(place.next);  // a leftover has another's mode
    const int fd = open(place.next, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, newmode);
    if (fd == -1) return modem_isunreplaceable(errno) && modem_overwrite(list, place);
    if (former != nullptr) modem_keepattributes(fd, *former);
    const bool written = modem_writeimage(fd, list);
    if (written && rename(place.next, place.file) == 0) return true;
    const int error = errno;
    (void)unlink(place.next);  // the cause of the failure matters more
    errno = error;
    return written && modem_isunreplaceable(error) && modem_overwrite(list, place);
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
    modem_place place;
    if (!modem_findplace(path, place)) return -1;
    struct stat former;
    const bool isthere = stat(place.file, &former) == 0;
    const bool written = isthere && !S_ISREG(former.st_mode)
                             ? modem_overwrite(list, place)
                             : modem_replace(list, place, isthere ? &former : nullptr);
    if (!written) return -1;
    sync();
    return 0;
}

int modem_readlist(sms_list &list, const char *path)
{
    const int fd = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd == -1) return -1;
    const ssize_t nbytes = read(fd, &list, sizeof(list));
    const int error = errno;
    (void)close(fd);  // only read
    modem_repairlist(list);
    errno = error;
    return nbytes < 0 ? -1 : 0;
}

void modem_removeleftover(const char *path)
{
    modem_place place;
    if (modem_findplace(path, place)) (void)unlink(place.next);
}
