# SPDX-License-Identifier: ISC
# The bundled configuration library, whichever one the daemon is linked with.
add_executable(uci_test
    platform/uci_test.cpp
    ${PROJECT_SOURCE_DIR}/simulator/router/process.cpp)
target_include_directories(uci_test PRIVATE
    ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/platform/include)
target_link_libraries(uci_test PRIVATE platform_uci GTest::gtest_main)
gtest_discover_tests(uci_test PROPERTIES TIMEOUT 300)
