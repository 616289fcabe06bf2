# SPDX-License-Identifier: ISC
# The router's shell library, as far as the first-boot script calls it.
group_exists() { grep -q "^group_add_next $1\$" "$work/calls"; }
group_add_next() { echo "group_add_next $1" >>"$work/calls"; }
