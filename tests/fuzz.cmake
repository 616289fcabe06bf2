# SPDX-License-Identifier: ISC
# Fuzz targets, one line each at the end: fuzz/NAME_fuzz.cpp with its inputs in fuzz/corpus/NAME/.
# Each is a repeatable test fuzz.NAME; with KELVANTORIUM_FUZZ also a program NAME_libfuzzer that
# searches: NAME_libfuzzer NEW_INPUTS fuzz/corpus/NAME
option(KELVANTORIUM_FUZZ "Build the fuzz targets for libFuzzer, too (clang only)" OFF)

# All code is to be instrumented, the platform libraries as well.
if(KELVANTORIUM_FUZZ AND NOT (CMAKE_CXX_COMPILER_ID MATCHES Clang AND
                              KELVANTORIUM_SANITIZE MATCHES fuzzer-no-link))
    message(FATAL_ERROR "KELVANTORIUM_FUZZ needs clang and fuzzer-no-link in KELVANTORIUM_SANITIZE:"
        " see the preset fuzz")
endif()

# What follows the name is linked, too.
function(add_fuzz_target name)
    set(folder ${CMAKE_CURRENT_SOURCE_DIR}/fuzz)
    add_executable(${name}_fuzz ${folder}/${name}_fuzz.cpp ${folder}/mutate.cpp)
    set(programs ${name}_fuzz)
    if(KELVANTORIUM_FUZZ)
        add_executable(${name}_libfuzzer ${folder}/${name}_fuzz.cpp)
        target_link_options(${name}_libfuzzer PRIVATE -fsanitize=fuzzer)
        list(APPEND programs ${name}_libfuzzer)
    endif()
    foreach(program IN LISTS programs)
        target_include_directories(${program} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
        target_link_libraries(${program} PRIVATE daemon_objects Threads::Threads ${ARGN})
    endforeach()
    add_test(NAME fuzz.${name} COMMAND ${name}_fuzz ${folder}/corpus/${name})
    # The runner prints the input when it aborts, so the sanitizers have to abort.
    set_tests_properties(fuzz.${name} PROPERTIES
        TIMEOUT 600
        ENVIRONMENT "ASAN_OPTIONS=abort_on_error=1;UBSAN_OPTIONS=abort_on_error=1")
endfunction()

add_fuzz_target(atreply)
add_fuzz_target(replies)
add_fuzz_target(sms)
add_fuzz_target(text)
if(NOT platform_found)  # of the bundled libraries: the genuine ones are not ours to test
    set(platform ${PROJECT_SOURCE_DIR}/platform)
    add_library(fuzz_broker OBJECT
        ${platform}/ubusd/access.c
        ${platform}/ubusd/client.c
        ${platform}/ubusd/event.c
        ${platform}/ubusd/registry.c
        ${platform}/ubusd/request.c
        ${platform}/ubusd/subscription.c)
    target_compile_definitions(fuzz_broker PRIVATE _GNU_SOURCE)
    target_include_directories(fuzz_broker SYSTEM PUBLIC ${platform} ${platform}/include)
    set(wrapped uci_alloc_context ubus_add_object ubus_lookup_id
        _Z17modem_savelistsmsP11modem_state _Z12modem_sendatP11modem_statePKcS2_ji)
    list(TRANSFORM wrapped PREPEND -Wl,--wrap=)
    add_fuzz_target(busmessage fuzz_broker ${wrapped})
    add_fuzz_target(settings -Wl,--wrap=uci_alloc_context)
    add_fuzz_target(uci -Wl,--wrap=uci_alloc_context)
endif()
