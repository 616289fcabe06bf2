# SPDX-License-Identifier: ISC
# Facts about the package: recipe, install rules, groups that come with it, system call filter.
# shellcheck shell=dash disable=SC2154

# make knows no path with a space; the checkout's may have one.
recipe() {
	[ -d "$work/tree" ] || {
		mkdir -p "$work/tree" "$work/image"
		tar -C "$tree" --exclude=./build --exclude=./.git -cf - . | tar -C "$work/tree" -xf -
	}
	make -s -C "$work/tree/packaging/openwrt" TOPDIR="$work/tree/tests/packaging/sdk" \
		WORK="$work" "$@"
}

recipeAndInstallRulesAgree() {
	needs cmake make cc
	mkdir "$work/project"
	echo 'int main(void) { return 0; }' >"$work/project/main.c"
	cat >"$work/project/CMakeLists.txt" <<-END
		cmake_minimum_required(VERSION 3.22)
		project(stub C)
		add_executable(kelvantorium main.c)
		add_subdirectory("$tree/packaging" packaging)
	END
	{
		cmake -S "$work/project" -B "$work/build" -DCMAKE_INSTALL_PREFIX=/usr \
			-DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=aarch64
		cmake --build "$work/build"
		DESTDIR=$work/image cmake --install "$work/build"
		recipe recipe
		recipe pages
		cmake -S "$work/project" -B "$work/board" -DKELVANTORIUM_INSTALL_STYLE=debian
	} >"$work/log"
	(cd "$work/package" && find . -type f | LC_ALL=C sort) | diff "$tests/installed" - ||
		fail "the package holds other files than expected"
	# The pages bring files below /www and a menu: no log-in, no grant.
	expect "files of the page" "$(cd "$tree/web/page" && find . -type f | LC_ALL=C sort)" \
		"$(cd "$work/kelvantorium-web/www/kelvantorium" && find . -type f | LC_ALL=C sort)"
	expect "places of the page" ./www "$(cd "$work/kelvantorium-web" && find . ! -path . -prune)"
	expect "files of the LuCI package" "./usr/share/luci/menu.d/luci-app-kelvantorium.json
./www/luci-static/resources/view/kelvantorium/status.js" \
		"$(cd "$work/luci-app-kelvantorium" && find . -type f | LC_ALL=C sort)"
	expect "dependencies of the page" "+kelvantorium +uhttpd +uhttpd-mod-ubus +rpcd" \
		"$(sed -n 's/^ *DEPENDS:=//p' "$work/kelvantorium-web.control")"
	expect "files of the metrics" "./etc/config/kelvantorium-metrics ./etc/init.d/kelvantorium-metrics \
./usr/bin/kelvantorium-metrics ./www/cgi-bin/kelvantorium-metrics" \
		"$(cd "$work/kelvantorium-metrics" && find . -type f | LC_ALL=C sort | xargs)"
	[ -x "$work/package/etc/init.d/kelvantorium" ] || fail "init script cannot be executed"
	expect "licence and version" "ISC $(sed -n 's/^project(.*VERSION \([0-9.]*\).*/\1/p' \
		"$tree/CMakeLists.txt")" "$(cat "$work/version")"
}

# What the recipe takes along is enough, and compiled as the router's build system wants it.
recipesSourceKeepsTheOptimisation() {
	needs cmake make cc
	recipe recipe configure >"$work/log"
	objects=$(grep -c '"command".*daemon_' "$work/cmake/compile_commands.json")
	for option in ' -Os ' ' -flto' ' -DNDEBUG '; do
		expect "objects with $option" "$objects" \
			"$(grep -c -e "\"command\".*$option.*daemon_" "$work/cmake/compile_commands.json")"
	done
	expect "objects with another level" 0 \
		"$(grep -c -e ' -O[0-3]' "$work/cmake/compile_commands.json" || true)"
	grep -q '"kelvantorium [0-9.]* 1-' "$work/cmake/version.c" || fail "build is not named"
}

# The package manager makes the groups before it runs the script. The parts of USERID are
# user:group, where "=" and a number may follow each.
accessGroupsComeWithThePackage() {
	needs make
	recipe recipe >"$work/log"
	expect "groups" "$(grantedgroups)" \
		"$(sed -n 's/^ *USERID:=//p' "$work/control" | tr ' ' '\n' | sed 's/^:\([^=]*\).*/\1/' | sort)"
	PATH=$work/stubs:$PATH IPKG_INSTROOT=$work/root busybox ash "$work/postinst"
	expect "calls while an image is built" "" "$(cat "$work/calls")"
	PATH=$work/stubs:$PATH IPKG_INSTROOT='' busybox ash "$work/postinst"
	expect "calls on a router" "killall -HUP ubusd" "$(cat "$work/calls")"
}

filtersHoldWhatTheirArchitectureHas() {
	needs cmake python3
	while read -r processor architecture; do
		rm -f "$work/filter.json"
		cmake -DPROCESSOR="$processor" -DFILTER="$work/filter.json" \
			-P "$tree/packaging/openwrt/filter.cmake"
		[ -z "$architecture" ] || python3 "$tests/filter.py" check "$architecture" \
			"$work/filter.json" "$tree/packaging/openwrt/syscalls"
		[ -n "$architecture" ] || [ ! -e "$work/filter.json" ] || fail "a filter for $processor"
	done <<-END
		aarch64 aarch64
		armv7l arm
		mipsel mips
		x86_64 x86_64
		mips64
		powerpc
	END
}

# The manager's reading of the filter, whatever it is, lets the daemon live and nothing else: the
# examples of the documents, and a modem that is lost and returns.
daemonLivesUnderItsFilter() {
	needs cmake python3
	mkdir -p "$BUILD/filtered" # the working folder is the same inside, and a prefix is words
	cd "$BUILD/filtered" || exit
	cp "$tests/filter.py" .
	filtered="python3 filter.py run filter.json"
	cmake -DPROCESSOR="$(uname -m)" -DFILTER=filter.json -P "$tree/packaging/openwrt/filter.cmake"
	[ -e filter.json ] || fail "no filter for $(uname -m): this cannot be checked here"
	# Not busybox, which gives up another user's rights first, a call that nobody here may make.
	expect "allowed calls" fine "$($filtered /bin/echo fine)"
	status=0
	$filtered busybox kill -0 $$ || status=$?
	expect "status after a forbidden call (SIGSYS)" 159 "$status"
	cat >life <<-'END'
		python3 "$1" --inside >/dev/null
		kill -USR1 "$(cat /run/kelvantorium.pid)"
		ubus call simulator unplug
		until ubus -S call kelvantorium get | grep -q '"state":"error"'; do sleep 0.1; done
		ubus call simulator replug
		ubus -S call kelvantorium reinit '{"client":"test"}' | grep -q '"ok"'
		until ubus -S call kelvantorium get | grep -q '"state":"op"'; do sleep 0.1; done
	END
	FAST_TIMEOUT=5000 timeout 300 "$BUILD/router" --daemon "$BUILD/kelvantorium-fast" \
		--daemon-prefix "$filtered" sh -e life "$tree/scripts/docs"
}

measuredCallsMissingFromTheFilterAreFound() {
	measure=$tree/packaging/openwrt/measure-syscalls
	cat >"$work/trace" <<-END
		12 openat(AT_FDCWD, "/etc/config/kelvantorium", O_RDONLY <unfinished ...>
		13 epoll_wait(4,  <unfinished ...>
		12 <... openat resumed>) = 5
	END
	expect "names" "epoll_wait openat " "$("$measure" names "$work/trace" | tr '\n' ' ')"
	"$measure" check "$work/trace"
	echo '12 reboot(1) = 0' >>"$work/trace"
	if "$measure" check "$work/trace" 2>"$work/log"; then fail "reboot is let pass"; fi
	grep -q 'reboot' "$work/log" || fail "reboot is not named"
	if "$measure" check /dev/null 2>"$work/log"; then fail "an empty trace passes"; fi
}
