# SPDX-License-Identifier: ISC
# The service functions of the router, as far as the init script calls them: each writes its call,
# and the end of the instance what the manager makes of it.
# shellcheck shell=dash disable=SC2034,SC2153,SC2154,SC3023
log() { echo "$*" >>"$work/calls"; }
config_load() { :; }
config_get_bool() { jail=$CONFINED; }
procd_open_instance() { jailed='' filter=''; }
procd_set_param() {
	log "$@"
	[ "$1" != seccomp ] || filter=$2
}
procd_add_jail() {
	log jail "$@"
	jailed=yes
}
procd_add_jail_mount() { log jail_mount "$@"; }
procd_add_jail_mount_rw() { log jail_mount_rw "$@"; }
procd_add_reload_trigger() { log trigger "$@"; }
# The jail is left out where its program is missing. A filter without the jail is set by another
# program; where that is missing, the service ends at once, again and again.
procd_close_instance() {
	if [ -n "$filter" ] && [ ! -e "$filter" ]; then
		log "outcome exit 1"
	elif [ -n "$jailed" ] && [ -x "$work/root/sbin/ujail" ]; then
		log "outcome jail${filter:+ and filter}"
	elif [ -n "$filter" ] && [ ! -x "$work/root/sbin/seccomp-trace" ]; then
		log "outcome exit 127"
	else
		log "outcome plain"
	fi
}
# Every action on a service runs under its lock.
exec 1000>"$work/lock"
flock 1000
