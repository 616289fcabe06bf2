# SPDX-License-Identifier: ISC
# Tests of the daemon's own functions, and the variant of the daemon with shortened waits.
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

# The same objects but for those that wait.
add_executable(kelvantorium_fast
    fast/clock.cpp
    $<TARGET_OBJECTS:daemon_main>
    $<FILTER:$<TARGET_OBJECTS:daemon_objects>,EXCLUDE,core/record/pause|at/timer>
)
target_include_directories(kelvantorium_fast PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(kelvantorium_fast PRIVATE
    platform::ubus platform::ubox platform::uci Threads::Threads)
target_link_options(kelvantorium_fast PRIVATE
    -Wl,--wrap=uloop_timeout_set,--wrap=realloc,--wrap=tcflush)
set_target_properties(kelvantorium_fast PROPERTIES
    OUTPUT_NAME kelvantorium-fast
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
add_dependencies(daemon_tests router_programs kelvantorium_fast)
