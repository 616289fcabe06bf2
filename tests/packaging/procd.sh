# SPDX-License-Identifier: ISC
# The service functions of the router, as far as the init script calls them: each writes its call.
# shellcheck shell=dash disable=SC2034,SC2154
log() { echo "$*" >>"$work/calls"; }
config_load() { :; }
config_get_bool() {
	case $1 in
	trace) trace=$TRACE ;;
	jail) jail=$JAIL ;;
	esac
}
procd_open_instance() { :; }
procd_close_instance() { :; }
procd_set_param() { log "$@"; }
procd_add_jail() { log jail "$@"; }
procd_add_jail_mount() { log jail_mount "$@"; }
procd_add_jail_mount_rw() { log jail_mount_rw "$@"; }
procd_add_reload_trigger() { log trigger "$@"; }
