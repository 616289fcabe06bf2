# SPDX-License-Identifier: ISC
# The quick daemon, for tests and pictures: the daemon's objects but for those that wait.
add_executable(kelvantorium_fast EXCLUDE_FROM_ALL
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
