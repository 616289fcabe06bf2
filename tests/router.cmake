# SPDX-License-Identifier: ISC
# The daemon itself among all parts of the virtual router.
add_executable(router_tests
    router/bus_test.cpp
    router/failing_test.cpp
    router/life_test.cpp
    router/link_test.cpp
    router/notify_test.cpp
    router/poll_test.cpp
    router/profile_test.cpp
    router/running.cpp
    router/set_test.cpp
    router/sms_test.cpp
    router/soak_test.cpp
    router/ussd_test.cpp
    router/waits_test.cpp
    ${PROJECT_SOURCE_DIR}/simulator/network/link.cpp
)
# What stands between the daemon and the C library in some tests.
add_library(calls MODULE preload/calls.c)
target_link_libraries(calls PRIVATE ${CMAKE_DL_LIBS})
target_compile_definitions(router_tests PRIVATE CALLS_LIBRARY="$<TARGET_FILE:calls>")
target_link_libraries(router_tests PRIVATE test_support simulator_modem)
target_compile_definitions(router_tests PRIVATE
    MODEM_PROFILES="${PROJECT_SOURCE_DIR}/simulator/profiles"
    HEALING_SCRIPT="${PROJECT_SOURCE_DIR}/packaging/openwrt/files/kelvantorium-reinit")
add_dependencies(router_tests router_programs kelvantorium_fast calls)
# Healed by the package's script, which calls the two tools.
if(TARGET ubus OR KELVANTORIUM_UBUS)
    target_sources(router_tests PRIVATE router/campaign_test.cpp)
endif()
foreach(tool IN ITEMS ubus platform_uci_tool)
    if(TARGET ${tool})
        add_dependencies(router_tests ${tool})
    endif()
endforeach()
gtest_discover_tests(router_tests DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 600)
