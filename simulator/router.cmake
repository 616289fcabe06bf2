# SPDX-License-Identifier: ISC
# The virtual router: the sandbox, its programs and the one that runs them all.
add_library(sandbox STATIC sandbox.cpp)
target_include_directories(sandbox PUBLIC ${PROJECT_SOURCE_DIR})
target_compile_definitions(sandbox PRIVATE
    SANDBOX_SOURCE="${PROJECT_SOURCE_DIR}" SANDBOX_BINARY="${PROJECT_BINARY_DIR}")

add_library(router_parts STATIC router/bus.cpp router/parts.cpp router/process.cpp)
target_include_directories(router_parts PUBLIC ${PROJECT_SOURCE_DIR})
target_link_libraries(router_parts PUBLIC platform::ubus platform::ubox)

add_executable(log_collector log/main.cpp)
set_target_properties(log_collector PROPERTIES OUTPUT_NAME log-collector)

add_executable(network_service membership.cpp network/link.cpp network/main.cpp)
target_include_directories(network_service PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(network_service PRIVATE platform::ubus platform::ubox)
set_target_properties(network_service PROPERTIES OUTPUT_NAME network-service)

# The genuine broker where the genuine libraries are used.
if(KELVANTORIUM_UBUSD)
    target_compile_definitions(router_parts PRIVATE ROUTER_BROKER="${KELVANTORIUM_UBUSD}")
endif()
if(KELVANTORIUM_UBUS)
    get_filename_component(tools ${KELVANTORIUM_UBUS} DIRECTORY)
    target_compile_definitions(router_parts PRIVATE ROUTER_TOOLS=":${tools}")
endif()

add_executable(router router/listen.cpp router/main.cpp)
target_link_libraries(router PRIVATE router_parts sandbox)

set_target_properties(log_collector network_service router PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
