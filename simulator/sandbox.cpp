// SPDX-License-Identifier: ISC
// Namespaces and the file tree of the sandbox.
#include "simulator/sandbox.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <initializer_list>
#include <poll.h>
#include <sched.h>
#include <set>
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

const std::string host = "/.host";  // the host's root while the sandbox is made

// What the root folder does not take over from the host.
const std::set<std::string> replaced = {".host", "dev", "etc", "lost+found", "proc",
                                        "root",  "run", "tmp", "var"};

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

void makefolder(const std::string &path, mode_t mode)
{
    check(mkdir(path.c_str(), 0700), path.c_str());
    check(chmod(path.c_str(), mode), path.c_str());  // whatever the umask
}

// The names in a folder of the host; none where an ordinary user may not look.
std::vector<std::string> entriesof(const std::string &path)
{
    std::vector<std::string> names;
    DIR *entries = opendir((host + path).c_str());
    if (entries == nullptr) return names;
    while (const dirent *entry = readdir(entries))
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.emplace_back(entry->d_name);
    closedir(entries);
    return names;
}

// The host's folder at the same path, which is made. False when that cannot be.
bool bindfolder(const std::string &path)
{
    std::error_code error;
    std::filesystem::create_directories(path, error);
    return mount((host + path).c_str(), path.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0;
}

void makereadonly(const std::string &path)
{
    mount_attr attributes = {};
    attributes.attr_set = MOUNT_ATTR_RDONLY;
    if (mount_setattr(AT_FDCWD, path.c_str(), AT_RECURSIVE, &attributes, sizeof attributes) == 0)
        return;
    if (errno != ENOSYS) fail(path.c_str());
    // Old kernels, and emulators: without what is mounted below it.
    check(mount(nullptr, path.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr),
          path.c_str());
}

// The host's entries, which nobody inside can change: copies of the files, folders read-only.
void makeetc()
{
    makefolder("/etc", 0755);
    makefolder("/etc/config", 0755);
    for (const std::string &name : entriesof("/etc")) {
        const std::string path = "/etc/" + name;
        if (name == "config") continue;
        std::error_code error;  // gone meanwhile, or not readable for an ordinary user
        if (!std::filesystem::is_directory(std::filesystem::symlink_status(host + path, error)))
            std::filesystem::copy(host + path, path, std::filesystem::copy_options::copy_symlinks,
                                  error);
        else if (bindfolder(path))
            makereadonly(path);
    }
}

// What the host has in its root: folders by mounts, so that their real paths stay.
void showroot()
{
    for (const std::string &name : entriesof("/")) {
        std::error_code error;
        if (replaced.count(name) != 0) continue;
        if (std::filesystem::is_symlink(host + "/" + name))
            std::filesystem::copy_symlink(host + "/" + name, "/" + name, error);
        else if (std::filesystem::is_directory(host + "/" + name))
            (void)bindfolder("/" + name);
    }
}

// The folders that must be reachable wherever they lie: checkout, programs and, at the end, the
// working directory.
std::vector<std::string> neededfolders()
{
    std::vector<std::string> paths;
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    for (const std::filesystem::path &path : std::vector<std::filesystem::path>{
             SANDBOX_SOURCE, SANDBOX_BINARY, program.parent_path(), "."})
        paths.push_back(std::filesystem::canonical(path, error));
    return paths;
}

void showneeded(const std::vector<std::string> &paths)
{
    for (const std::string &path : paths) {
        std::error_code error;  // of a path that could not be found, which is empty
        if (path.size() < 2 || replaced.count(path.substr(1)) != 0) continue;
        if (!std::filesystem::equivalent(host + path, path, error)) (void)bindfolder(path);
    }
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
    const std::vector<std::string> needed = neededfolders();
    check(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "private mounts");
    // Anywhere would do: the pivot takes it away from there again.
    check(mount("tmpfs", "/tmp", "tmpfs", 0, "mode=0755"), "tmpfs");
    check(mkdir("/tmp/.host", 0755), host.c_str());
    check(static_cast<int>(syscall(SYS_pivot_root, "/tmp", "/tmp/.host")), "pivot_root");
    check(chdir("/"), "/");
    showroot();
    for (const char *path : {"/run", "/var"})
        makefolder(path, 0755);
    makefolder("/root", 0700);
    for (const char *path : {"/tmp", "/var/tmp"})
        makefolder(path, 01777);
    check(symlink("/run", "/var/run"), "/var/run");
    makeetc();
    makedevices();
    makefolder("/proc", 0555);
    if (mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0)
        check(mount((host + "/proc").c_str(), "/proc", nullptr, MS_BIND | MS_REC, nullptr),
              "/proc");
    showneeded(needed);
    check(umount2(host.c_str(), MNT_DETACH), host.c_str());
    check(rmdir(host.c_str()), host.c_str());
    if (chdir(needed.back().c_str()) != 0) check(chdir("/"), "/");
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
