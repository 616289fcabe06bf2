# platform::ubox, platform::ubus and platform::uci: what the daemon links, genuine or bundled.
# The bundled broker and tools are built as well wherever the genuine programs are missing.

if(NOT KELVANTORIUM_PLATFORM MATCHES "^(auto|system|bundled)$")
    message(FATAL_ERROR "KELVANTORIUM_PLATFORM is auto, system or bundled")
endif()

set(platform_found FALSE)
if(NOT KELVANTORIUM_PLATFORM STREQUAL bundled)
    find_path(UBOX_INCLUDE_DIR libubox/uloop.h)
    find_path(UBUS_INCLUDE_DIR libubus.h)
    find_path(UCI_INCLUDE_DIR uci.h)
    find_library(UBOX_LIBRARY ubox)
    find_library(UBUS_LIBRARY ubus)
    find_library(UCI_LIBRARY uci)
    if(UBOX_INCLUDE_DIR AND UBUS_INCLUDE_DIR AND UCI_INCLUDE_DIR
       AND UBOX_LIBRARY AND UBUS_LIBRARY AND UCI_LIBRARY)
        set(platform_found TRUE)
    elseif(KELVANTORIUM_PLATFORM STREQUAL system)
        message(FATAL_ERROR "libubox, libubus and libuci were not found; see CMAKE_PREFIX_PATH")
    endif()
endif()

add_subdirectory(platform)

foreach(library IN ITEMS ubox ubus uci)
    add_library(platform_use_${library} INTERFACE)
    add_library(platform::${library} ALIAS platform_use_${library})
endforeach()

if(platform_found)
    message(STATUS "Platform libraries: system (${UBOX_LIBRARY}, ${UBUS_LIBRARY}, ${UCI_LIBRARY})")
    foreach(library IN ITEMS ubox ubus uci)
        string(TOUPPER ${library} upper)
        target_include_directories(platform_use_${library} SYSTEM INTERFACE ${${upper}_INCLUDE_DIR})
        target_link_libraries(platform_use_${library} INTERFACE ${${upper}_LIBRARY})
    endforeach()
    target_link_libraries(platform_use_ubus INTERFACE platform_use_ubox)
    find_program(KELVANTORIUM_UBUSD ubusd)
    find_program(KELVANTORIUM_UBUS ubus)
    find_program(KELVANTORIUM_UCI uci)
else()
    message(STATUS "Platform libraries: bundled")
    foreach(library IN ITEMS ubox ubus uci)
        target_include_directories(platform_use_${library} SYSTEM INTERFACE
            ${PROJECT_SOURCE_DIR}/platform/include)
        target_link_libraries(platform_use_${library} INTERFACE platform_${library})
    endforeach()
endif()
