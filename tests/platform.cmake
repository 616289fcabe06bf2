# SPDX-License-Identifier: ISC
# The bundled event loop and message buffers, and the broker.
add_executable(platform_tests platform/bus_blob_test.cpp platform/bus_loop_test.cpp)
target_include_directories(platform_tests PRIVATE ${PROJECT_SOURCE_DIR})
target_include_directories(platform_tests SYSTEM PRIVATE ${PROJECT_SOURCE_DIR}/platform/include)
target_link_libraries(platform_tests PRIVATE platform_ubus GTest::gtest_main)
gtest_discover_tests(platform_tests TEST_PREFIX platform. DISCOVERY_TIMEOUT 120)

# In the virtual router: octets hold account names, and access needs accounts and the daemon.
set(broker_parts)
if(KELVANTORIUM_ROUTER)
    list(APPEND broker_parts broker)
    if(JSONC_FOUND)
        list(APPEND broker_parts access)
    endif()
endif()
foreach(part IN LISTS broker_parts)
    add_executable(bus_${part}_tests platform/bus_${part}_test.cpp)
    target_compile_definitions(bus_${part}_tests PRIVATE
        SHIPPED_ACCESS_FILES="${PROJECT_SOURCE_DIR}/packaging/openwrt/files/acl.d")
    target_link_libraries(bus_${part}_tests PRIVATE test_support)
    add_dependencies(bus_${part}_tests router_programs)
    gtest_discover_tests(bus_${part}_tests
        TEST_PREFIX platform. DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 300)
endforeach()

add_test(NAME platform.daemonNeedsWhatGenuineLibrariesExport
    COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/platform/exports ${CMAKE_NM}
        $<TARGET_OBJECTS:daemon_objects> $<TARGET_OBJECTS:daemon_main>
    COMMAND_EXPAND_LISTS)
