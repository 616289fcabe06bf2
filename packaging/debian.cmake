# SPDX-License-Identifier: ISC
# What a board with Debian gets besides the daemon; the bus, with the component "platform".

# The settings of the router, as far as they are there on a board.
file(READ ${files}/kelvantorium.config settings)
string(REPLACE "reload_config" "systemctl reload kelvantorium" settings "${settings}")
string(REPLACE "killall -USR1" "systemctl kill --signal=USR1" settings "${settings}")
string(REGEX REPLACE "\t#[^\n]*jail[^\n]*\n\toption jail [^\n]*\n" "" settings "${settings}")
if(NOT settings MATCHES "systemctl" OR settings MATCHES "jail|killall")
    message(FATAL_ERROR "${files}/kelvantorium.config speaks of the router")
endif()
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/default "${settings}")

# The names of all architectures: those that are strange to the kernel do not count.
file(STRINGS openwrt/syscalls SYSTEM_CALLS REGEX "^[a-z_]")
list(TRANSFORM SYSTEM_CALLS REPLACE " .*" "")
list(JOIN SYSTEM_CALLS " " SYSTEM_CALLS)
configure_file(systemd/kelvantorium.service.in kelvantorium.service @ONLY)

install(FILES ${CMAKE_CURRENT_BINARY_DIR}/default DESTINATION share/kelvantorium)
set(list listsms.kelvantorium)
file(CREATE_LINK /var/lib/kelvantorium/${list} ${CMAKE_CURRENT_BINARY_DIR}/${list} SYMBOLIC)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${list} DESTINATION share/kelvantorium/root)
install(PROGRAMS ${files}/kelvantorium-reinit DESTINATION libexec)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kelvantorium.service systemd/kelvantorium-heal.service
    systemd/kelvantorium-watch.service metrics/kelvantorium-metrics.service
    DESTINATION ${system}/lib/systemd/system)
# After the rules that name the modem (60-serial).
install(FILES systemd/kelvantorium.rules
    DESTINATION ${system}/lib/udev/rules.d RENAME 90-kelvantorium.rules)
install(FILES systemd/kelvantorium.sysusers
    DESTINATION lib/sysusers.d RENAME kelvantorium.conf)
install(FILES metrics/kelvantorium-metrics.sysusers
    DESTINATION lib/sysusers.d RENAME kelvantorium-metrics.conf)
install(FILES ../docs/kelvantorium-metrics.1 DESTINATION share/man/man1)

set(bus COMPONENT platform EXCLUDE_FROM_ALL)
install(FILES systemd/ubus.service DESTINATION ${system}/lib/systemd/system ${bus})
install(FILES systemd/ubus.sysusers DESTINATION lib/sysusers.d RENAME ubus.conf ${bus})
install(FILES systemd/ubus.tmpfiles DESTINATION lib/tmpfiles.d RENAME ubus.conf ${bus})
install(FILES ../docs/ubus.1 ../docs/uci.1 DESTINATION share/man/man1 ${bus})
install(FILES ../docs/ubusd.8 DESTINATION share/man/man8 ${bus})
