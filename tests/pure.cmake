# SPDX-License-Identifier: ISC
# Parsers fed with text: no modem, no bus, no file.
add_executable(pure_tests
    core/record/trace_test.cpp
    indicators/leds_test.cpp
    monitor/defaults_test.cpp
    indicators/adc_test.cpp
    monitor/gnss_test.cpp
    monitor/route_test.cpp
    monitor/signal_test.cpp
)
target_link_libraries(pure_tests PRIVATE daemon_objects GTest::gtest_main)
    sms/storage_test.cpp
gtest_discover_tests(pure_tests DISCOVERY_TIMEOUT 120)
