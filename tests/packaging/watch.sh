# SPDX-License-Identifier: ISC
# The watcher's surroundings as functions of its shell, so that a day passes in seconds. $SCENE tells
# what happens: SECOND:STATE/ERROR/SLOT, or a word of sleep(). An initialisation takes 20 s.
# shellcheck shell=dash disable=SC2153,SC2154
clock=0 counter=7 running=-1 heal=1 ordered=$work/ordered.$$

sleep() {
	clock=$((clock + $1))
	[ ! -s "$ordered" ] || begin $((clock - $1))
	while [ "${SCENE%%:*}" -le "$clock" ]; do
		event=${SCENE#*:}
		SCENE=${event#* }
		event=${event%% *}
		case $event in
		reinit) begin "$clock" ;; # somebody else's
		restart) begin "$clock" && counter=0 ;;
		on) heal=1 ;;
		off) heal=0 ;;
		away) rm "$port" ;;
		back) touch "$port" ;;
		healer) exec 7>"$work/root/var/run/kelvantorium-heal.lock" && flock 7 ;;
		healed) exec 7>&- ;;
		end) exit ;;
		*) shown=$event ;;
		esac
	done
}

begin() {
	counter=$((counter + 1))
	running=$(($1 + 20))
	: >"$ordered"
}

uci() {
	echo "$heal"
}

logger() {
	echo "$clock $*" >>"$work/log"
}

ubus() { # -S -t 160 call kelvantorium METHOD MESSAGE
	echo "$clock.50" >"$work/root/proc/uptime"
	[ "$shown" != gone ] || return 4
	if [ "$6" = reinit ]; then
		echo "$clock" | tee -a "$work/orders" >"$ordered"
		echo '{"result":"ok"}'
		return
	fi
	set -- "$shown"
	[ "$clock" -ge "$running" ] || set -- init/none/inserted
	error=${1#*/}
	printf '{"result":"ok","settings":{"modem":{"slot":"2"}},"info":{"kelvantorium":{'
	printf '"prevstate":"op","state":"%s","error":"%s",' "${1%%/*}" "${error%/*}"
	printf '"reason":"\\"slot2_state\\":\\"empty","reinit_counter":"%s"},' "$counter"
	printf '"modem":{"slot1_state":"inserted","slot2_state":"%s"}}}\n' "${1##*/}"
}
sleep 0
