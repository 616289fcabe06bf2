# SPDX-License-Identifier: ISC
# In the virtual router: what the daemon does in its life, every call that it makes included.
# shellcheck shell=dash
set -eu

becomes() { # text of the status
	for _ in $(seq 1200); do
		! ubus -S call kelvantorium get 2>/dev/null | grep -aq "$1" || return 0
		sleep 0.1
	done
	echo "no $1 in: $(ubus -S call kelvantorium get)" >&2
	exit 1
}

ask() { # method, message
	answer=$(ubus -S call kelvantorium "$1" "$2")
	case $answer in
	*'"result":"ok"'*) ;;
	*)
		echo "$1: $answer" >&2
		exit 1
		;;
	esac
}

becomes '"prevstate":"init","state":"op"'
becomes '"state":"connected"'
kill -USR1 "$(cat /run/kelvantorium.pid)"
ubus call simulator sms '{"sender":"+79001234567","text":"one"}'
for _ in $(seq 600); do
	! ubus -S call kelvantorium sms_get '{"id":"1"}' | grep -q one || break
	sleep 0.1
done
ask sms_get '{"id":"1"}'
[ -s /root/listsms.kelvantorium ]
ask sms_send '{"client":"test","number":"+79001234567","text":"two"}'
ask at_send '{"client":"test","cmd":"ATI"}'
ask ussd_send '{"client":"test","cmd":"*100#"}'
ask sms_clear '{"client":"test"}'
ubus call simulator unplug
becomes '"state":"error"'
ubus call simulator replug
ask set '{"client":"test","modem_network_type":"4g"}'
becomes '"prevstate":"init","state":"op"'
ask reinit '{"client":"test"}'
