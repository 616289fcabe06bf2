# SPDX-License-Identifier: ISC
# Facts about what the package sets up around the daemon: names of ports, interface, groups.
# shellcheck shell=dash disable=SC2154

# A port as the kernel shows it: node, device, its product and serial number, interface, number.
port() {
	device=$work/root/sys/devices/usb1/$2
	entry=$device/$2:1.$5/$1/tty/$1
	mkdir -p "$entry" "$work/root/sys/class/tty"
	echo "$3" >"$device/product"
	echo "$4" >"$device/serial"
	echo "$5" >"$device/$2:1.$5/bInterfaceNumber"
	echo "$6" >"$device/$2:1.$5/$1/port_number"
	ln -sfn "../../../$1" "$entry/device"
	ln -sfn "$entry" "$work/root/sys/class/tty/$1"
	touch "$work/root/dev/$1"
}

modem() { # node at interface 04, node at interface 05
	rm -rf "$work/root/sys" "$work/root"/dev/ttyUSB*
	port ttyUSB9 1-2 'Mobile Composite Device Bus' 200806006809080001 04 0 # another one's
	port ttyUSB1 1-1 'Mobile Composite Device Bus' 200806006809080000 04 1
	port ttyUSB8 1-1 'Mobile Composite Device Bus' 200806006809080000 02 0
	[ "$1" = - ] || port "$1" 1-1 'Mobile Composite Device Bus' 200806006809080000 04 0
	[ "$2" = - ] || port "$2" 1-1 'Mobile Composite Device Bus' 200806006809080000 05 0
}

# What is among the names, as "INTERFACE>NODE" each.
names() {
	for name in "$work/root/dev/serial/by-id"/*; do
		[ -L "$name" ] || continue
		target=$(readlink -f "$name")
		echo "${name##*/"$ports"}>${target#"$work/root/dev/"}"
	done | tr '\n' ' '
}

portsAreNamedByWhatTheyAre() {
	while read -r at second wanted; do
		modem "$at" "$second"
		ash "$files/kelvantorium-ports"
		expect "names after $at $second" "$wanted" "$(names | sed 's/ $//')"
	done <<-END
		ttyUSB2 ttyUSB3 -if04-port0>ttyUSB2 -if05-port0>ttyUSB3
		ttyUSB3 ttyUSB2 -if04-port0>ttyUSB3 -if05-port0>ttyUSB2
		ttyUSB3 - -if04-port0>ttyUSB3
		ttyUSB10 ttyUSB0 -if04-port0>ttyUSB10 -if05-port0>ttyUSB0
		- -
	END
	modem ttyUSB2 ttyUSB3
	ash "$files/kelvantorium-ports"
	rm "$work/root/dev/ttyUSB2" # the node goes before the entry of sysfs
	ash "$files/kelvantorium-ports"
	expect "names after the removal" "-if05-port0>ttyUSB3 " "$(names)"
}

namesOfOthersAreLeftAlone() {
	modem ttyUSB2 -
	named=$work/root/dev/serial/by-id/$ports
	ln -s "$work/root/dev/ttyUSB2" "$named-if04-port0" # a device manager's: right already
	ln -s ../../ttyUSB9 "$named-if05-port0"            # an administrator's, for another modem
	ln -s ../../gone "$named-if06-port0"
	ash "$files/kelvantorium-ports"
	expect "right name" "$work/root/dev/ttyUSB2" "$(readlink "$named-if04-port0")"
	expect "chosen name" ../../ttyUSB9 "$(readlink "$named-if05-port0")"
	expect "other name" ../../gone "$(readlink "$named-if06-port0")"
}

hotplugNamesPortsThenHeals() {
	libexec kelvantorium-ports kelvantorium-reinit
	while read -r action device wanted; do
		: >"$work/calls"
		printf '%s\nwait\n' "$(cat "$files/kelvantorium.hotplug")" >"$work/hotplug"
		ACTION=$action DEVICENAME=$device ash "$work/hotplug"
		expect "$action of $device" "$wanted" \
			"$(sed 's/^kelvantorium-//; s/ $//' "$work/calls" | tr '\n' ' ' | sed 's/ $//')"
	done <<-END
		add ttyUSB4 ports reinit heal hotplug
		remove ttyUSB4 ports
		add ttyS0
	END
}

# Runs the first boot's script twice: nothing comes twice.
networkAtFirstBoot() {
	ash "$files/kelvantorium.network"
	cp -r "$work/root/etc/config" "$work/once"
	ash "$files/kelvantorium.network"
	diff -r "$work/once" "$work/root/etc/config" || fail "a second run changes something"
	rm -r "$work/once"
}

interfaceJoinsTheZoneOfTheWan() {
	networks="firewall.@zone[1].network="
	while IFS=: read -r given wanted; do
		: >"$work/root/etc/config/network"
		printf '%s\n' 'firewall.@zone[0]=zone' "firewall.@zone[0].name='lan'" \
			'firewall.@zone[1]=zone' "firewall.@zone[1].name='wan'" \
			>"$work/root/etc/config/firewall"
		[ -z "$given" ] || echo "$networks$given" >>"$work/root/etc/config/firewall"
		: >"$work/calls"
		networkAtFirstBoot
		expect "zone that was $given" "$networks$wanted" \
			"$(grep -F "$networks" "$work/root/etc/config/firewall")"
		expect "interface" "interface 'usb0' 'dhcp' '0' '20'" \
			"$(sed 's/.*=//' "$work/root/etc/config/network" | tr '\n' ' ' | sed 's/ $//')"
		expect "network told" 1 "$(calls 'config.change.*"network"')"
		[ "$given" = "$wanted" ] || expect "firewall told" 1 "$(calls 'config.change.*"firewall"')"
	done <<-'END'
		'wan' 'wan6':'wan' 'wan6' 'usb0'
		'wan wan6':'wan wan6 usb0'
		'wan':'wan' 'usb0'
		:'usb0'
		'wan' 'usb0':'wan' 'usb0'
	END
	rm "$work/root/etc/config/firewall"
	networkAtFirstBoot # an image without a firewall
	[ ! -e "$work/root/etc/config/firewall" ] || fail "a firewall is made"
}

# An existing interface keeps its address, and its zone where it is in another one.
existingInterfaceAndZoneStay() {
	printf '%s\n' network.usb0=interface "network.usb0.proto='static'" \
		>"$work/root/etc/config/network"
	printf '%s\n' 'firewall.@zone[0]=zone' "firewall.@zone[0].name='wan'" 'firewall.@zone[1]=zone' \
		"firewall.@zone[1].name='modem'" "firewall.@zone[1].network='usb0'" \
		>"$work/root/etc/config/firewall"
	cp -r "$work/root/etc/config" "$work/before"
	networkAtFirstBoot
	diff -r "$work/before" "$work/root/etc/config" || fail "what was there is changed"
	expect "calls" 0 "$(calls .)"
}

# A system upgrade keeps the settings and the groups of the system before. The broker is told when
# all groups are there.
firstBootKeepsTheUsersSettings() {
	cat >"$work/root/lib/functions.sh" <<-'END'
		group_exists() { [ -e "$work/root/$1" ]; }
		group_add_next() {
			touch "$work/root/$1"
			echo "group_add_next $1" >>"$work/calls"
		}
	END
	config=$work/root/etc/config/kelvantorium
	printf "kelvantorium.modem=modem\nkelvantorium.modem.slot='2'\n" >"$config"
	ash "$files/kelvantorium.defaults"
	expect "slot" "kelvantorium.modem.slot='2'" "$(grep slot "$config")"
	expect "apn" "kelvantorium.network.apn='dynamic'" "$(grep apn "$config")"
	expect "traces" "kelvantorium.service.trace='0'" "$(grep trace "$config")"
	expect "sections the user does without" 0 "$(grep -c 'rs485\|gnss' "$config" || true)"
	cp "$config" "$work/before"
	ash "$files/kelvantorium.defaults"
	cmp "$config" "$work/before" || fail "a second run changes the settings"
	expect "groups" "$(grantedgroups)" "$(sed -n 's/^group_add_next //p' "$work/calls" | sort)"
	expect "broker" "killall -HUP ubusd" "$(sed 1,3d "$work/calls")"
}

# The groups that the broker's access files name.
grantedgroups() {
	sed -n 's/.*"group": *"\([^"]*\)".*/\1/p' "$files"/acl.d/*.json | sort
}
