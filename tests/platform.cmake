# SPDX-License-Identifier: ISC
# The bundled event loop, bus library, broker and bus tool.
add_executable(platform_bus_tests
    platform/bus_blob_test.cpp
    platform/bus_broker_test.cpp
    platform/bus_library_test.cpp
    platform/bus_loop_test.cpp
    platform/bus_subscription_test.cpp
    ${PROJECT_SOURCE_DIR}/simulator/router/process.cpp
)
target_include_directories(platform_bus_tests PRIVATE ${PROJECT_SOURCE_DIR})
target_include_directories(platform_bus_tests SYSTEM PRIVATE ${PROJECT_SOURCE_DIR}/platform/include)
target_compile_definitions(platform_bus_tests PRIVATE BUS_PROGRAMS="${PROJECT_BINARY_DIR}")
target_link_libraries(platform_bus_tests PRIVATE platform_ubus GTest::gtest_main)
add_dependencies(platform_bus_tests ubusd)
if(TARGET ubus)
    target_compile_definitions(platform_bus_tests PRIVATE BUS_TOOL)
    add_dependencies(platform_bus_tests ubus)
endif()
gtest_discover_tests(platform_bus_tests
    TEST_PREFIX platform. DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 300)

# Access needs accounts and the daemon, that is, the virtual router.
if(KELVANTORIUM_ROUTER AND JSONC_FOUND)
    add_executable(bus_access_tests platform/bus_access_test.cpp)
    target_compile_definitions(bus_access_tests PRIVATE
        BUS_PROGRAMS="${PROJECT_BINARY_DIR}"
        SHIPPED_ACCESS_FILES="${PROJECT_SOURCE_DIR}/packaging/openwrt/files/acl.d")
    target_link_libraries(bus_access_tests PRIVATE test_support)
    add_dependencies(bus_access_tests router_programs)
    gtest_discover_tests(bus_access_tests
        TEST_PREFIX platform. DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 300)
endif()

add_test(NAME platform.daemonNeedsWhatGenuineLibrariesExport
    COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/platform/exports ${CMAKE_NM}
        $<TARGET_OBJECTS:daemon_objects> $<TARGET_OBJECTS:daemon_main>
    COMMAND_EXPAND_LISTS)
