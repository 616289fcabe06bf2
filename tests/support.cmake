# SPDX-License-Identifier: ISC
# The harness of all tests that run in the virtual router; its main() enters the sandbox.
add_library(test_support STATIC support/main.cpp support/router.cpp)
target_include_directories(test_support PUBLIC ${PROJECT_SOURCE_DIR})
target_link_libraries(test_support PUBLIC router_parts sandbox GTest::gtest)
target_compile_definitions(test_support PUBLIC ROUTER_PROGRAMS="${PROJECT_BINARY_DIR}")

# Started by the tests, not linked to them.
add_custom_target(router_programs)
foreach(program IN ITEMS kelvantorium ubusd log_collector network_service modem_simulator)
    if(TARGET ${program})
        add_dependencies(router_programs ${program})
    endif()
endforeach()

add_executable(sandbox_tests support/sandbox_test.cpp)
target_link_libraries(sandbox_tests PRIVATE test_support)

add_dependencies(sandbox_tests router_programs)
gtest_discover_tests(sandbox_tests PROPERTIES TIMEOUT 300)
