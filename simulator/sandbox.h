// SPDX-License-Identifier: ISC
// A private machine for the virtual router: own processes, mounts, network and terminals.
//
// Works as root, and as an ordinary user where user namespaces are allowed (the user is root
// inside then). Nothing of it is left behind, however it ends, the SIGKILL of the caller included.
#pragma once

// Returns in a new process inside. The calling process does not return: it passes SIGINT, SIGTERM
// and SIGHUP on to the inside, waits for its end and leaves with its exit status (128 + n after
// signal n). On failure a text goes to standard error and the exit status is 125.
//
// Inside: the host's folders at their places, but private and empty are /run, /tmp, /root, /var
// and /dev/serial; /etc has copies of the host's files, its folders read-only, and an empty
// /etc/config. Working directory, checkout and programs are the host's, wherever they lie. "usb0"
// is one end of a veth pair, down, and "modem0" the other, up. Single-threaded callers only.
void sandbox_enter();
