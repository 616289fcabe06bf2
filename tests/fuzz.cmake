# Fuzz targets, one line each at the end: fuzz/NAME_fuzz.cpp with its inputs in fuzz/corpus/NAME/.
# Each is a repeatable test fuzz.NAME; with clang and KELVANTORIUM_FUZZ also a program
# NAME_libfuzzer that searches: NAME_libfuzzer NEW_INPUTS fuzz/corpus/NAME
option(KELVANTORIUM_FUZZ "Build the fuzz targets for libFuzzer, too (clang only)" OFF)

if(KELVANTORIUM_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES Clang)
        message(FATAL_ERROR "KELVANTORIUM_FUZZ needs clang: set CMAKE_CXX_COMPILER")
    endif()
    # The daemon once more, instrumented; the daemon itself and the other tests stay as they are.
    get_target_property(fuzz_sources daemon_objects SOURCES)
    list(TRANSFORM fuzz_sources PREPEND ${PROJECT_SOURCE_DIR}/ REGEX "^[^/$]")
    add_library(fuzz_objects OBJECT ${fuzz_sources})
    target_include_directories(fuzz_objects PUBLIC ${PROJECT_SOURCE_DIR})
    target_compile_options(fuzz_objects PUBLIC -g -fsanitize=fuzzer-no-link,address,undefined)
    target_link_libraries(fuzz_objects PUBLIC
        platform::ubus platform::ubox platform::uci Threads::Threads)
endif()

function(add_fuzz_target name)
    set(folder ${CMAKE_CURRENT_SOURCE_DIR}/fuzz)
    add_executable(${name}_fuzz ${folder}/${name}_fuzz.cpp ${folder}/mutate.cpp)
    target_include_directories(${name}_fuzz PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(${name}_fuzz PRIVATE daemon_objects Threads::Threads)
    add_test(NAME fuzz.${name} COMMAND ${name}_fuzz ${folder}/corpus/${name})
    # The runner prints the input when it aborts, so the sanitizers have to abort.
    set_tests_properties(fuzz.${name} PROPERTIES
        TIMEOUT 600
        ENVIRONMENT "ASAN_OPTIONS=abort_on_error=1;UBSAN_OPTIONS=abort_on_error=1")
    if(KELVANTORIUM_FUZZ)
        add_executable(${name}_libfuzzer ${folder}/${name}_fuzz.cpp)
        target_include_directories(${name}_libfuzzer PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
        target_link_libraries(${name}_libfuzzer PRIVATE fuzz_objects)
        target_link_options(${name}_libfuzzer PRIVATE -fsanitize=fuzzer,address,undefined)
    endif()
endfunction()

add_fuzz_target(replies)
add_fuzz_target(sms)
add_fuzz_target(text)
if(NOT platform_found)
    add_fuzz_target(uci)  # of the bundled library: the genuine one is not ours to test
endif()
