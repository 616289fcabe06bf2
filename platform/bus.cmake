# SPDX-License-Identifier: ISC
# Event loop and message buffers, bus client library, broker and command line client.
foreach(library IN ITEMS ubox ubus)
    add_library(platform_${library}_objects OBJECT)
    set_target_properties(platform_${library}_objects PROPERTIES POSITION_INDEPENDENT_CODE ON)
    target_compile_definitions(platform_${library}_objects PRIVATE _GNU_SOURCE)
    # The daemon takes in only what it calls.
    target_compile_options(platform_${library}_objects PRIVATE -ffunction-sections -fdata-sections)
    foreach(kind IN ITEMS STATIC SHARED)
        set(name platform_${library})
        if(kind STREQUAL SHARED)
            set(name platform_${library}_shared)
        endif()
        add_library(${name} ${kind} $<TARGET_OBJECTS:platform_${library}_objects>)
        set_target_properties(${name} PROPERTIES
            OUTPUT_NAME ${library}
            LINKER_LANGUAGE C
            INSTALL_RPATH "$ORIGIN")
        install(TARGETS ${name}
            DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT platform EXCLUDE_FROM_ALL)
    endforeach()
endforeach()
target_sources(platform_ubox_objects PRIVATE
    ubox/blob.c
    ubox/blobmsg.c
    ubox/uloop.c
    ubox/uloop_signal.c
    ubox/uloop_timer.c
)
target_sources(platform_ubus_objects PRIVATE
    ubus/context.c
    ubus/message.c
    ubus/object.c
    ubus/request.c
    ubus/subscribe.c
)
target_link_libraries(platform_ubus PUBLIC platform_ubox)
target_link_libraries(platform_ubus_shared PUBLIC platform_ubox_shared)

find_package(PkgConfig)
if(PkgConfig_FOUND)
    pkg_check_modules(JSONC IMPORTED_TARGET json-c)
endif()

add_executable(ubusd
    ubusd/access.c
    ubusd/client.c
    ubusd/event.c
    ubusd/main.c
    ubusd/registry.c
    ubusd/request.c
    ubusd/subscription.c
)
target_compile_definitions(ubusd PRIVATE _GNU_SOURCE)
target_link_libraries(ubusd PRIVATE platform_ubus)
if(JSONC_FOUND)
    target_sources(ubusd PRIVATE ubusd/access_file.c)
    target_compile_definitions(ubusd PRIVATE UBUSD_JSON)
    target_link_libraries(ubusd PRIVATE PkgConfig::JSONC)
endif()
set_target_properties(ubusd PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
install(TARGETS ubusd DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT platform EXCLUDE_FROM_ALL)

install(DIRECTORY include/libubox DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT platform EXCLUDE_FROM_ALL)
install(FILES include/libubus.h include/ubus_common.h include/ubusmsg.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT platform EXCLUDE_FROM_ALL)

if(NOT JSONC_FOUND)
    message(STATUS "json-c not found: the command line client ubus is left out, "
        "and the broker serves root and its own user alone")
else()
    add_executable(ubus
        ubus/print.c
        ubus/scan.c
        ubus/told.c
        ubus/tool.c
    )
    target_compile_definitions(ubus PRIVATE _GNU_SOURCE)
    target_link_libraries(ubus PRIVATE platform_ubus PkgConfig::JSONC)
    set_target_properties(ubus PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
    install(TARGETS ubus DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT platform EXCLUDE_FROM_ALL)
endif()
