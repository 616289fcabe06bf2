# SPDX-License-Identifier: ISC
# The SMS subsystem; in the sandbox, whose /root takes the list file.
add_executable(sms_tests
    sms/deliver_test.cpp
    sms/list_test.cpp
    sms/receive_test.cpp
    sms/text_test.cpp
)
target_link_libraries(sms_tests PRIVATE daemon_objects test_support)
target_link_options(sms_tests PRIVATE
    -Wl,--wrap=write,--wrap=fsync,--wrap=close,--wrap=rename,--wrap=sync)
gtest_discover_tests(sms_tests DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 600)
