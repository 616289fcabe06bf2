# SPDX-License-Identifier: ISC
# The page's modules, where node is there to run them. tests/web/run tries them in a browser.
find_program(NODE node)
if(NODE)
    add_test(NAME web.modules
        COMMAND ${NODE} --test ${CMAKE_CURRENT_SOURCE_DIR}/web/unit.test.mjs)
else()
    message(STATUS "node not found: the tests of the page's modules are left out")
endif()
