# SPDX-License-Identifier: ISC
# The router's shell library, as far as the package's scripts call it.
# shellcheck shell=dash disable=SC2154
groups=$work/root/etc/group
group_exists() { grep -q "^$1:" "$groups"; }
group_add_next() {
	group_exists "$1" && return
	echo "group_add_next $1" >>"$work/calls"
	echo "$1:x:$((65536 + $(wc -l <"$groups"))):" >>"$groups"
}
