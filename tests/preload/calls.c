// SPDX-License-Identifier: ISC
/*
 * Stands between the daemon and the C library, in front of the program by LD_PRELOAD.
 *
 * Fails one call as the file /run/failing says: "CALL NTH ERRNO TEXT". The NTH call of that name
 * whose subject (thread, descriptors' targets, path, octets for the modem, size) holds TEXT fails
 * with ERRNO, and the file is gone; ERRNO 0 is an end to read() and a hang-up to poll().
 * With CALLS_RECORD=FILE what is asked of the system is a line in FILE, "loop timer 15000" or
 * "worker pause 1", and time flies: waits pass fifty times faster, time-outs ten times. The clock
 * of the program stands still but for its waits, so the numbers are exact.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <syslog.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

/* Each wrapper declares `real`, the function that it stands for. */
#define REAL(name)                 \
    static __typeof__(name) *real; \
    if (real == NULL) *(void **)&real = dlsym(RTLD_NEXT, #name)

enum { waitpace = 50, timerpace = 10 };

static const char orderpath[] = "/run/failing";
static _Thread_local long virtualtime; /* ms, the sum of the thread's waits */
static _Thread_local struct timespec waitbegan;

static int is_flying(void)
{
    return getenv("CALLS_RECORD") != NULL;
}

static const char *thread_name(void)
{
    return gettid() == getpid() ? "loop" : "worker";
}

/* What the descriptor is open on; holds until the thread's next but one call. */
static const char *target_of(int fd)
{
    static _Thread_local char targets[2][256];
    static _Thread_local unsigned next;
    char *text = targets[next++ % 2];
    char link[64];
    (void)snprintf(link, sizeof(link), "/proc/self/fd/%d", fd);
    const ssize_t length = syscall(SYS_readlinkat, AT_FDCWD, link, text, sizeof(targets[0]) - 1);
    text[length > 0 ? length : 0] = '\0';
    return text;
}

static size_t stack_of(const pthread_attr_t *attributes)
{
    size_t stack = 0;
    if (attributes != NULL) (void)pthread_attr_getstacksize(attributes, &stack);
    return stack;
}

/* The thread's name and more; holds until the thread's next call. */
__attribute__((format(printf, 1, 2))) static char *say(const char *format, ...)
{
    static _Thread_local char text[512];
    const size_t room = sizeof(text) - 1; /* but for the line's end of a record */
    const int head = snprintf(text, room, "%s ", thread_name());
    va_list arguments;
    va_start(arguments, format);
    (void)vsnprintf(text + head, room - (size_t)head, format, arguments);
    va_end(arguments);
    return text;
}

/* Whether this call is the one that is to fail; errno is set then. */
static int is_failing(const char *call, const char *subject)
{
    static atomic_int seen;
    const int fd = (int)syscall(SYS_openat, AT_FDCWD, orderpath, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return 0;
    char order[256] = "";
    (void)syscall(SYS_read, fd, order, sizeof(order) - 1);
    (void)syscall(SYS_close, fd);
    char name[32];
    int nth = 0;
    int error = 0;
    int rest = 0;
    if (sscanf(order, "%31s %d %d %n", name, &nth, &error, &rest) < 3) return 0;
    if (strcmp(name, call) != 0 || strstr(subject, order + rest) == NULL) return 0;
    if (atomic_fetch_add(&seen, 1) + 1 != nth) return 0;
    atomic_store(&seen, 0);
    (void)unlink(orderpath);
    errno = error;
    return 1;
}

static void record(char *line)
{
    const char *path = getenv("CALLS_RECORD");
    if (path == NULL) return;
    (void)strcat(line, "\n");
    const int fd =
        (int)syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    (void)syscall(SYS_write, fd, line, strlen(line));
    (void)syscall(SYS_close, fd);
}

static long milliseconds(const struct timespec *time)
{
    return time->tv_sec * 1000 + time->tv_nsec / 1000000;
}

static struct timespec shortened(long ms, int pace)
{
    return (struct timespec){ms / pace / 1000, ms * 1000000 / pace % 1000000000};
}

/* The shortened time-out of a call. */
static int begin_wait(const char *call, int timeout)
{
    if (!is_flying() || timeout <= 0) return timeout;
    record(say("%s %d", call, timeout));
    (void)syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &waitbegan);
    return timeout / waitpace + 1;
}

/* Adds the part of a wait that has passed; all of it when nothing else ended it. */
static int end_wait(int timeout, int result)
{
    if (!is_flying() || timeout <= 0) return result;
    struct timespec now;
    (void)syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    const long passed = (milliseconds(&now) - milliseconds(&waitbegan)) * waitpace;
    virtualtime += result == 0 || passed > timeout ? timeout : passed;
    return result;
}

int clock_gettime(clockid_t clock, struct timespec *time)
{
    REAL(clock_gettime);
    if (!is_flying() || clock != CLOCK_MONOTONIC) return real(clock, time);
    *time = (struct timespec){1000 + virtualtime / 1000, virtualtime % 1000 * 1000000};
    return 0;
}

int clock_nanosleep(clockid_t clock, int flags, const struct timespec *time, struct timespec *rest)
{
    REAL(clock_nanosleep);
    if (!is_flying()) return real(clock, flags, time, rest);
    const long ms = milliseconds(time);
    record(say("pause %ld", ms));
    virtualtime += ms;
    const struct timespec less = shortened(ms, waitpace);
    return real(clock, flags, &less, rest);
}

int timerfd_settime(int fd, int flags, const struct itimerspec *value, struct itimerspec *former)
{
    REAL(timerfd_settime);
    if (!is_flying()) return real(fd, flags, value, former);
    const long ms = milliseconds(&value->it_value);
    record(say("timer %ld", ms));
    const struct itimerspec less = {{0, 0}, shortened(ms, timerpace)};
    return real(fd, flags, &less, former);
}

int epoll_wait(int fd, struct epoll_event *events, int most, int timeout)
{
    REAL(epoll_wait);
    const int less = begin_wait("wait", timeout);
    const int result = real(fd, events, most, less);
    return end_wait(timeout, result);
}

int poll(struct pollfd *fds, nfds_t count, int timeout)
{
    REAL(poll);
    const char *second = count > 1 ? target_of(fds[1].fd) : "";
    if (is_failing("poll", say("%s %s", target_of(fds[0].fd), second))) {
        if (errno != 0) return -1;
        fds[0].revents = POLLHUP;
        return 1;
    }
    const int less = begin_wait("poll", timeout);
    const int result = real(fds, count, less);
    return end_wait(timeout, result);
}

ssize_t write(int fd, const void *data, size_t size)
{
    REAL(write);
    const char *target = target_of(fd);
    const int head = (int)(size < 100 ? size : 100);
    const int istext = strncmp(target, "/dev/pts/", 9) == 0;
    const char *subject = say("%s %.*s", target, istext ? head : 0, (const char *)data);
    if (is_failing("write", subject)) return -1;
    if (istext) record(say("send %.*s", head - 1, (const char *)data)); /* without its line end */
    return real(fd, data, size);
}

ssize_t read(int fd, void *data, size_t size)
{
    REAL(read);
    if (is_failing("read", say("%s", target_of(fd)))) return errno == 0 ? 0 : -1;
    return real(fd, data, size);
}

int open(const char *path, int flags, ...)
{
    REAL(open);
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (is_failing("open", say("%s", path))) return -1;
    return real(path, flags, mode);
}

/* Calls that are only recorded and failed. */
#define WRAP(type, name, parameters, arguments, failed, subject, ...) \
    type name parameters                                              \
    {                                                                 \
        REAL(name);                                                   \
        const char *target = subject;                                 \
        record(say(#name __VA_ARGS__));                               \
        if (is_failing(#name, say("%s", target))) return failed;      \
        return real arguments;                                        \
    }

// clang-format off
WRAP(int, pipe, (int fds[2]), (fds), -1, "", "")
WRAP(int, timerfd_create, (int clock, int flags), (clock, flags), -1, "", " %d", clock)
WRAP(int, tcsetattr, (int fd, int actions, const struct termios *to), (fd, actions, to), -1,
     target_of(fd),
     " %s %u %u %u %u", target, to->c_iflag, to->c_oflag, to->c_cflag, to->c_lflag)
WRAP(int, pthread_setschedparam, (pthread_t thread, int policy, const struct sched_param *param),
     (thread, policy, param), EPERM, "",
     " %s %d %d", thread == pthread_self() ? "itself" : "another", policy, param->sched_priority)
WRAP(int, pthread_create,
     (pthread_t *thread, const pthread_attr_t *with, void *(*run)(void *), void *argument),
     (thread, with, run, argument), errno, "", " %zu", stack_of(with))
// clang-format on

void openlog(const char *ident, int options, int facility)
{
    REAL(openlog);
    record(say("openlog %s %d %d", ident, options, facility));
    real(ident, options, facility);
}

void *calloc(size_t count, size_t size)
{
    static _Thread_local int resolving; /* dlsym() may come here, and does without */
    if (resolving) return NULL;
    resolving = 1;
    REAL(calloc);
    resolving = 0;
    return is_failing("calloc", say("%zu ", count * size)) ? NULL : real(count, size);
}
