# SPDX-License-Identifier: ISC
# The bundled configuration library, whichever one the daemon is linked with.
add_executable(uci_test
    platform/uci_test.cpp
    platform/uci_tool_test.cpp
    ${PROJECT_SOURCE_DIR}/simulator/router/process.cpp)
target_include_directories(uci_test PRIVATE
    ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/platform/include)
target_compile_definitions(uci_test PRIVATE UCI_TOOL="$<TARGET_FILE:platform_uci_tool>")
target_link_libraries(uci_test PRIVATE platform_uci GTest::gtest_main)
add_dependencies(uci_test platform_uci_tool)
gtest_discover_tests(uci_test PROPERTIES TIMEOUT 300)
