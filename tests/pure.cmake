# SPDX-License-Identifier: ISC
# Parsers fed with text, and exchanges with a modem at the other end of a socket: no sandbox.
add_executable(pure_tests
    at/exchange_test.cpp
    core/record/assertion_test.cpp
    core/record/trace_test.cpp
    indicators/leds_test.cpp
    monitor/defaults_test.cpp
    monitor/replies_test.cpp
    monitor/route_test.cpp
)
target_link_libraries(pure_tests PRIVATE daemon_objects GTest::gtest_main)
gtest_discover_tests(pure_tests DISCOVERY_TIMEOUT 120)
