# SPDX-License-Identifier: ISC
# The surroundings of kelvantorium-reinit as functions of its shell, so that hours pass in seconds.
# $SCENE tells what happens: SECOND:STATE/ERROR/SLOT, or a word of sleep(). An initialisation takes
# 20 s.
# shellcheck shell=dash disable=SC2153,SC2154
clock=${CLOCK:-0} counter=7 running=-1 heal=1 ordered=$work/ordered.$$

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

ubus() { # -S -t SECONDS call kelvantorium METHOD MESSAGE
	echo "$clock.50" >"$work/root/proc/uptime"
	now=$shown
	[ "$clock" -ge "$running" ] || now=init/none/inserted
	error=${now#*/}
	case "$6 $7 $now" in
	*gone) return 4 ;;
	'reinit {"client":"test"} init'*)
		echo '{"result":"error: info.kelvantorium.state: init"}' ;;
	*refused) echo '{"result":"error: refused"}' ;;
	'reinit {"client":"test"}'*)
		echo "$clock" | tee -a "$work/orders" >"$ordered"
		echo '{"result":"ok"}'
		;;
	'get {}'*)
		printf '{"result":"ok","settings":{"modem":{"slot":"2"}},"info":{"kelvantorium":{'
		printf '"prevstate":"op","state":"%s","error":"%s",' "${now%%/*}" "${error%/*}"
		printf '"reason":"\\"slot2_state\\":\\"empty","reinit_counter":"%s"},' "$counter"
		printf '"modem":{"slot1_state":"inserted","slot2_state":"%s"}}}\n' "${now##*/}"
		;;
	esac
}
sleep 0
