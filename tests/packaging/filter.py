# SPDX-License-Identifier: ISC
"""A system call filter as the service manager takes it.

filter.py check ARCHITECTURE FILTER NAMES   it holds the names of NAMES that the kernel has there
filter.py run FILTER PROGRAM [ARG...]       the program under the filter"""
import ctypes
import json
import os
import re
import sys

LIBRARY = ctypes.CDLL("libseccomp.so.2")
LIBRARY.seccomp_init.restype = ctypes.c_void_p
ARCHITECTURES = {"aarch64": 0xC00000B7, "arm": 0x40000028, "mips": 8, "x86_64": 0xC000003E}
ACTIONS = {
    "SCMP_ACT_ALLOW": 0x7FFF0000,
    "SCMP_ACT_KILL_PROCESS": 0x80000000,
    "SCMP_ACT_ERRNO": 0x00050000,  # the default takes no errno value: it is 0, success
}
# Whoever makes one of them may make another one with the next C library, or on the next kernel.
FAMILIES = """rename renameat renameat2; poll ppoll ppoll_time64; open openat; epoll_create
    epoll_create1; epoll_wait epoll_pwait; timerfd_settime timerfd_settime64; prlimit64 getrlimit
    ugetrlimit setrlimit; clock_gettime clock_gettime64; clock_nanosleep clock_nanosleep_time64
    nanosleep; futex futex_time64; fstat fstat64 fstatat64 newfstatat stat stat64 lstat lstat64
    statx; fchown fchown32 fchownat chown chown32 lchown lchown32; fchmod fchmodat chmod; unlink
    unlinkat; readlink readlinkat; access faccessat faccessat2; mkdir mkdirat; pipe pipe2; clone
    clone3; signalfd signalfd4; fcntl fcntl64; ftruncate ftruncate64; lseek _llseek; mmap mmap2;
    send sendto sendmsg; recv recvfrom recvmsg; getuid getuid32; sched_setscheduler sched_setparam;
    rt_sigreturn sigreturn; set_tid_address arch_prctl set_tls set_thread_area"""


def known(architecture, name):
    token = ctypes.c_uint32(ARCHITECTURES[architecture])
    return LIBRARY.seccomp_syscall_resolve_name_rewrite(token, name.encode()) >= 0


def read(path):
    content = json.load(open(path))
    (rule,) = content["syscalls"]
    assert rule["action"] == "SCMP_ACT_ALLOW", path
    return content["defaultAction"], rule["names"]


def check(architecture, path, source):
    action, names = read(path)
    assert action == "SCMP_ACT_KILL_PROCESS", action
    listed = re.findall(r"(?m)^[a-z_]\S*", open(source).read())
    wanted = [name for name in listed if known(architecture, name)]
    assert names == wanted, (architecture, set(names) ^ set(wanted))
    for family in FAMILIES.split(";"):
        missing = [n for n in family.split() if known(architecture, n) and n not in names]
        assert not missing, (architecture, missing)


def run(path, *program):
    action, names = read(path)
    context = ctypes.c_void_p(LIBRARY.seccomp_init(ctypes.c_uint32(ACTIONS[action])))
    for name in names:
        number = LIBRARY.seccomp_syscall_resolve_name(name.encode())
        allow = ctypes.c_uint32(ACTIONS["SCMP_ACT_ALLOW"])
        assert LIBRARY.seccomp_rule_add(context, allow, number, 0) == 0, name
    assert LIBRARY.seccomp_load(context) == 0
    os.execvp(program[0], program)


{"check": check, "run": run}[sys.argv[1]](*sys.argv[2:])
