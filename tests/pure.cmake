# SPDX-License-Identifier: ISC
# Parsers fed with text, and exchanges with a modem at the other end of a socket: no sandbox.
add_executable(pure_tests
    at/sendat_test.cpp
    at/ussd_test.cpp
    config/replies_test.cpp
    core/record/assertion_test.cpp
    core/record/trace_test.cpp
    indicators/adc_test.cpp
    indicators/leds_test.cpp
    monitor/defaults_test.cpp
    monitor/gnss_test.cpp
    monitor/replies_test.cpp
    monitor/route_test.cpp
    monitor/signal_test.cpp
    sms/storage_test.cpp
)
target_link_libraries(pure_tests PRIVATE daemon_objects GTest::gtest_main)
gtest_discover_tests(pure_tests DISCOVERY_TIMEOUT 120)
