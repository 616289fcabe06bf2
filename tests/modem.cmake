# SPDX-License-Identifier: ISC
add_executable(modem_test modem/model_test.cpp)
target_link_libraries(modem_test PRIVATE simulator_modem GTest::gtest_main)
gtest_discover_tests(modem_test)
