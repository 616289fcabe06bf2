# Tests of the daemon's own functions, and the variant of the daemon with shortened waits.
if(NOT KELVANTORIUM_ROUTER)
    return()
endif()

# The same objects but for those that wait.
set(daemon_clockless
    $<FILTER:$<TARGET_OBJECTS:daemon_objects>,EXCLUDE,core/pause|at/timer>)

add_executable(daemon_tests
    at/sendat_test.cpp
    config/init_test.cpp
    core/worker_test.cpp
    daemon/bench.cpp
    ${daemon_clockless}
)
target_link_libraries(daemon_tests PRIVATE
    test_support simulator_modem platform::ubus platform::ubox platform::uci Threads::Threads)
gtest_discover_tests(daemon_tests PROPERTIES TIMEOUT 600)

add_executable(kelvantorium_fast
    fast/clock.cpp
    $<TARGET_OBJECTS:daemon_main>
    ${daemon_clockless}
)
target_include_directories(kelvantorium_fast PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(kelvantorium_fast PRIVATE
    platform::ubus platform::ubox platform::uci Threads::Threads)
target_link_options(kelvantorium_fast PRIVATE -Wl,--wrap=uloop_timeout_set)
set_target_properties(kelvantorium_fast PROPERTIES
    OUTPUT_NAME kelvantorium-fast
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
add_dependencies(daemon_tests kelvantorium_fast)
