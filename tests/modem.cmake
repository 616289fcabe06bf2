# SPDX-License-Identifier: ISC
add_executable(modem_test modem/behaviour_test.cpp)
target_compile_definitions(modem_test PRIVATE
    MODEM_PROFILES="${PROJECT_SOURCE_DIR}/simulator/profiles")
target_link_libraries(modem_test PRIVATE simulator_modem GTest::gtest_main)
gtest_discover_tests(modem_test)
