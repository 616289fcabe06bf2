// SPDX-License-Identifier: ISC
// Namespaces and the file tree of the sandbox.
#include "simulator/sandbox.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <initializer_list>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <string>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{

const std::string host = "/.host";  // the host's root inside

// Folders that are private: made anew, showing the host's entries except the hidden ones.
struct private_folder {
    const char *path;
    mode_t mode;
    std::vector<std::string> hidden;
};

const private_folder private_folders[] = {
    {"", 0755, {".host", "dev", "etc", "proc", "root", "run", "tmp", "var"}},
    {"/etc", 0755, {"config"}},
    {"/tmp", 01777, {".uci"}},
    {"/root", 0700, {"listsms.kelvantorium"}},
    {"/var", 0755, {"run"}},
};

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "sandbox: %s: %s\n", what, std::strerror(errno));
    _exit(125);
}

void check(int result, const char *what)
{
    if (result < 0) fail(what);
}

void writefile(const char *path, const std::string &text)
{
    const int fd = open(path, O_WRONLY | O_CLOEXEC);
    if (fd < 0) fail(path);
    if (write(fd, text.data(), text.size()) < 0) fail(path);
    close(fd);
}

// Root can do without a user namespace, and then keeps the right to real-time priorities.
void unshareprocesses()
{
    if (unshare(CLONE_NEWPID) == 0) return;
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    check(unshare(CLONE_NEWUSER | CLONE_NEWPID),
          "no namespaces (run as root, or allow user namespaces)");
    writefile("/proc/self/setgroups", "deny");
    writefile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
    writefile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
}

// Shows one entry of the host at the same path: folders by a mount, so that their real path stays,
// everything else by a link.
void showentry(const std::string &path)
{
    const std::string source = host + path;
    struct stat info = {};
    if (lstat(source.c_str(), &info) != 0) return;  // gone meanwhile
    if (S_ISLNK(info.st_mode)) {
        std::string target(static_cast<std::size_t>(info.st_size) + 1, '\0');
        const ssize_t length = readlink(source.c_str(), target.data(), target.size());
        if (length < 0) return;
        target.resize(static_cast<std::size_t>(length));
        check(symlink(target.c_str(), path.c_str()), path.c_str());
        return;
    }
    if (S_ISDIR(info.st_mode)) {
        check(mkdir(path.c_str(), 0755), path.c_str());
        if (mount(source.c_str(), path.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0) return;
        check(rmdir(path.c_str()), path.c_str());
    }
    check(symlink(source.c_str(), path.c_str()), path.c_str());
}

void makefolder(const std::string &path, mode_t mode)
{
    check(mkdir(path.c_str(), 0700), path.c_str());
    check(chmod(path.c_str(), mode), path.c_str());  // whatever the umask
}

void makeprivatefolder(const private_folder &folder)
{
    const std::string path = folder.path;
    if (!path.empty()) makefolder(path, folder.mode);
    DIR *entries = opendir((host + path).c_str());
    if (entries == nullptr) return;  // not readable for an ordinary user: empty
    while (const dirent *entry = readdir(entries)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        if (std::find(folder.hidden.begin(), folder.hidden.end(), name) != folder.hidden.end())
            continue;
        showentry(path + "/" + name);
    }
    closedir(entries);
}

void makedevices()
{
    makefolder("/dev", 0755);
    for (const char *node : {"null", "zero", "full", "random", "urandom", "tty"}) {
        const std::string path = std::string("/dev/") + node;
        const int fd = open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0666);
        check(fd, path.c_str());
        close(fd);
        check(mount((host + path).c_str(), path.c_str(), nullptr, MS_BIND, nullptr), path.c_str());
    }
    makefolder("/dev/pts", 0755);
    check(mount("devpts", "/dev/pts", "devpts", 0, "newinstance,ptmxmode=0666,mode=0620"),
          "/dev/pts");
    makefolder("/dev/shm", 01777);
    check(symlink("pts/ptmx", "/dev/ptmx"), "/dev/ptmx");
    check(symlink("/proc/self/fd", "/dev/fd"), "/dev/fd");
    check(symlink("/proc/self/fd/0", "/dev/stdin"), "/dev/stdin");
    check(symlink("/proc/self/fd/1", "/dev/stdout"), "/dev/stdout");
    check(symlink("/proc/self/fd/2", "/dev/stderr"), "/dev/stderr");
}

void makeroot()
{
    char *before = getcwd(nullptr, 0);
    check(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "private mounts");
    // Anywhere would do: the pivot takes it away from there again.
    check(mount("tmpfs", "/tmp", "tmpfs", 0, "mode=0755"), "tmpfs");
    check(mkdir("/tmp/.host", 0755), host.c_str());
    check(static_cast<int>(syscall(SYS_pivot_root, "/tmp", "/tmp/.host")), "pivot_root");
    check(chdir("/"), "/");
    for (const private_folder &folder : private_folders)
        makeprivatefolder(folder);
    makefolder("/run", 0755);
    makefolder("/etc/config", 0755);
    check(symlink("/run", "/var/run"), "/var/run");
    makedevices();
    makefolder("/proc", 0555);
    if (mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0)
        check(mount((host + "/proc").c_str(), "/proc", nullptr, MS_BIND | MS_REC, nullptr),
              "/proc");
    if (before == nullptr || chdir(before) != 0) check(chdir("/"), "/");
    std::free(before);
}

void runip(std::initializer_list<const char *> words)
{
    const pid_t child = fork();
    check(child, "fork");
    if (child == 0) {
        std::vector<char *> argv = {const_cast<char *>("ip")};
        for (const char *word : words)
            argv.push_back(const_cast<char *>(word));
        argv.push_back(nullptr);
        for (const char *program : {"/sbin/ip", "/usr/sbin/ip", "/bin/ip"})
            execv(program, argv.data());
        fail("ip (of iproute2)");
    }
    int status = 0;
    check(waitpid(child, &status, 0), "waitpid");
    if (status == 0) return;
    std::fprintf(stderr, "sandbox: cannot set up the network\n");
    _exit(125);
}

void makenetwork()
{
    runip({"link", "set", "lo", "up"});
    runip({"link", "add", "usb0", "type", "veth", "peer", "name", "modem0"});
    runip({"link", "set", "modem0", "up"});
}

// The processes of the sandbox get a group of their own and, if the caller has it, the terminal:
// its signals go straight to the inside.
void taketerminal()
{
    sigset_t ttou;
    sigset_t before;
    sigemptyset(&ttou);
    sigaddset(&ttou, SIGTTOU);
    sigprocmask(SIG_BLOCK, &ttou, &before);
    (void)tcsetpgrp(STDIN_FILENO, getpgrp());  // fails without a terminal, which is well
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

// Passes `signals` on to `child` and reaps everybody, until `child` has ended.
[[noreturn]] void supervise(pid_t child, const sigset_t &signals, bool terminal)
{
    for (;;) {
        const int received = sigwaitinfo(&signals, nullptr);
        if (received > 0 && received != SIGCHLD) kill(child, received);
        int status = 0;
        for (pid_t ended = 0; (ended = waitpid(-1, &status, WNOHANG)) > 0;) {
            if (ended != child) continue;
            if (terminal) taketerminal();
            _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
        }
    }
}

}  // namespace

void sandbox_enter()
{
    std::fflush(nullptr);
    const bool terminal = tcgetpgrp(STDIN_FILENO) == getpgrp();
    sigset_t signals;
    sigset_t before;
    sigemptyset(&signals);
    for (const int number : {SIGCHLD, SIGINT, SIGTERM, SIGHUP})
        sigaddset(&signals, number);
    sigprocmask(SIG_BLOCK, &signals, &before);
    // The write end stays with the outer process alone and tells whether it lives: the first
    // process of a namespace cannot see its parent.
    int alive[2] = {-1, -1};
    check(pipe2(alive, O_CLOEXEC), "pipe");
    unshareprocesses();

    const pid_t init = fork();
    check(init, "fork");
    if (init > 0) supervise(init, signals, terminal);

    close(alive[1]);
    check(prctl(PR_SET_PDEATHSIG, SIGKILL), "prctl");
    pollfd parent = {alive[0], POLLIN, 0};
    if (poll(&parent, 1, 0) != 0) _exit(125);  // it died before it could be noticed
    close(alive[0]);
    check(unshare(CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWIPC | CLONE_NEWUTS), "unshare");
    check(sethostname("router", 6), "sethostname");
    makeroot();
    makenetwork();

    const pid_t inside = fork();
    check(inside, "fork");
    if (inside > 0) supervise(inside, signals, false);
    setpgid(0, 0);
    if (terminal) taketerminal();
    sigprocmask(SIG_SETMASK, &before, nullptr);
}
