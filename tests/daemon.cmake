# SPDX-License-Identifier: ISC
# Tests of the daemon's own functions.
if(NOT KELVANTORIUM_ROUTER)
    return()
endif()

add_executable(daemon_tests
    config/init_test.cpp
    core/life/worker_test.cpp
)
target_compile_definitions(daemon_tests PRIVATE DOCUMENTS="${PROJECT_SOURCE_DIR}/docs")
target_link_libraries(daemon_tests PRIVATE daemon_objects test_support Threads::Threads)
gtest_discover_tests(daemon_tests DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 600)
add_dependencies(daemon_tests router_programs kelvantorium_fast)
