# SPDX-License-Identifier: ISC
# What the documents show and quote, checked against the daemon and the sources.
find_package(Python3 COMPONENTS Interpreter)
if(NOT KELVANTORIUM_ROUTER OR NOT Python3_FOUND OR NOT (TARGET ubus OR KELVANTORIUM_UBUS))
    return()
endif()
add_test(NAME docs.tellTheTruth
    COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/scripts/docs ${PROJECT_BINARY_DIR})
set_tests_properties(docs.tellTheTruth PROPERTIES TIMEOUT 600)
add_test(NAME docs.recipes
    COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tests/docs/recipes ${PROJECT_BINARY_DIR})
set_tests_properties(docs.recipes PROPERTIES TIMEOUT 1200)
# A wrong line that scripts/mutate could not make would be taken for one that the tests notice.
add_test(NAME mutations.apply
    COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/scripts/mutate --check)
