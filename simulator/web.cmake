# SPDX-License-Identifier: ISC
# The web server of the virtual router, where the libraries it is made of are there.
find_package(PkgConfig)
if(PkgConfig_FOUND)
    pkg_check_modules(JSONC IMPORTED_TARGET json-c)
endif()
find_path(HTTPLIB_INCLUDE_DIR httplib.h)
find_library(HTTPLIB_LIBRARY cpp-httplib)
if(NOT JSONC_FOUND OR NOT HTTPLIB_INCLUDE_DIR OR NOT HTTPLIB_LIBRARY)
    message(STATUS "cpp-httplib or json-c not found: the web server is left out")
    return()
endif()

add_executable(web_server web/bustool.cpp web/config.cpp web/main.cpp web/rpc.cpp web/session.cpp
    web/stream.cpp)
target_include_directories(web_server PRIVATE ${PROJECT_SOURCE_DIR})
target_include_directories(web_server SYSTEM PRIVATE ${HTTPLIB_INCLUDE_DIR})
target_link_libraries(web_server PRIVATE
    platform::uci PkgConfig::JSONC ${HTTPLIB_LIBRARY} crypt Threads::Threads)
set_target_properties(web_server PROPERTIES
    OUTPUT_NAME web-server
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})

# What it serves, and the access file of the package: the tree's own files, as they are now.
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/www ${PROJECT_BINARY_DIR}/access)
file(CREATE_LINK ${PROJECT_SOURCE_DIR}/web/page ${PROJECT_BINARY_DIR}/www/kelvantorium SYMBOLIC)
file(CREATE_LINK ${PROJECT_SOURCE_DIR}/packaging/openwrt/files/kelvantorium.rpcd.json
    ${PROJECT_BINARY_DIR}/access/kelvantorium.json SYMBOLIC)
