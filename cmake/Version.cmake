# SPDX-License-Identifier: ISC
# Which build it is: project's version and, unless whoever packages it names another one, the
# revision. It stands in the program (strings kelvantorium) and nowhere in what the program says.
set(KELVANTORIUM_BUILD "" CACHE STRING "Name of this build beside the version; empty: the revision")
set(build ${KELVANTORIUM_BUILD})
if(NOT build)
    execute_process(COMMAND git -C ${PROJECT_SOURCE_DIR} describe --always --dirty
        OUTPUT_VARIABLE build OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/version.c CONTENT
"const char kelvantorium_version[] = \"kelvantorium ${PROJECT_VERSION} ${build}\";
")
