# SPDX-License-Identifier: ISC
# The configuration library and its command line tool.
add_library(platform_uci_objects OBJECT
    ${CMAKE_CURRENT_LIST_DIR}/uci/change.c
    ${CMAKE_CURRENT_LIST_DIR}/uci/context.c
    ${CMAKE_CURRENT_LIST_DIR}/uci/file.c
    ${CMAKE_CURRENT_LIST_DIR}/uci/import.c
    ${CMAKE_CURRENT_LIST_DIR}/uci/lookup.c
    ${CMAKE_CURRENT_LIST_DIR}/uci/pending.c
    ${CMAKE_CURRENT_LIST_DIR}/uci/text.c
    ${CMAKE_CURRENT_LIST_DIR}/uci/tree.c)
set_target_properties(platform_uci_objects PROPERTIES POSITION_INDEPENDENT_CODE ON)
target_compile_definitions(platform_uci_objects PRIVATE _GNU_SOURCE)
target_compile_options(platform_uci_objects PRIVATE
    -fvisibility=hidden -ffunction-sections -fdata-sections)

add_library(platform_uci STATIC $<TARGET_OBJECTS:platform_uci_objects>)
add_library(platform_uci_shared SHARED $<TARGET_OBJECTS:platform_uci_objects>)
set_target_properties(platform_uci platform_uci_shared PROPERTIES OUTPUT_NAME uci)

add_executable(platform_uci_tool ${CMAKE_CURRENT_LIST_DIR}/uci/main.c)
target_compile_definitions(platform_uci_tool PRIVATE _GNU_SOURCE)
target_link_libraries(platform_uci_tool PRIVATE platform_uci)
set_target_properties(platform_uci_tool PROPERTIES
    OUTPUT_NAME uci
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})

install(TARGETS platform_uci platform_uci_shared platform_uci_tool
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT platform EXCLUDE_FROM_ALL
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT platform EXCLUDE_FROM_ALL
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT platform EXCLUDE_FROM_ALL)
install(FILES ${CMAKE_CURRENT_LIST_DIR}/include/uci.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT platform EXCLUDE_FROM_ALL)
