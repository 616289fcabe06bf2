# SPDX-License-Identifier: ISC
# Tests of the daemon's own functions.
add_executable(daemon_tests
    config/init_test.cpp
    core/life/worker_test.cpp
)
target_link_libraries(daemon_tests PRIVATE daemon_objects test_support Threads::Threads)
gtest_discover_tests(daemon_tests DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 600)
add_dependencies(daemon_tests router_programs kelvantorium_fast)
