# SPDX-License-Identifier: ISC
# Writes the system call filter of one architecture, as the service manager reads it, from the
# names in `syscalls`. An architecture without names there gets no file.
#     cmake -DPROCESSOR=mipsel -DFILTER=out.json -P filter.cmake
cmake_minimum_required(VERSION 3.22)

if(PROCESSOR MATCHES "^(aarch64|arm|mips|x86_64)(_be|eb|el|v[0-9].*)?$")
    set(architecture ${CMAKE_MATCH_1})
else()
    file(REMOVE ${FILTER})
    message(STATUS "No system call filter for: ${PROCESSOR}")
    return()
endif()

file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/syscalls lines REGEX "^[a-z_]")
set(names "")
foreach(line IN LISTS lines)
    string(REPLACE " " ";" words ${line})
    list(POP_FRONT words name)
    if(NOT words OR architecture IN_LIST words)
        list(APPEND names "\"${name}\"")
    endif()
endforeach()
# A rule's jumps span 255 instructions: the manager makes one of each name.
list(LENGTH names count)
if(count EQUAL 0 OR count GREATER 250)
    message(FATAL_ERROR "${count} names do not make a filter")
endif()
list(JOIN names ",\n\t\t\t\t" names)

# A call beside the list ends the daemon, which is started again. The manager takes an errno for
# rules only: as the default action it would let a call do nothing and succeed.
file(WRITE ${FILTER} "{
\t\"defaultAction\": \"SCMP_ACT_KILL_PROCESS\",
\t\"syscalls\": [
\t\t{
\t\t\t\"names\": [
\t\t\t\t${names}
\t\t\t],
\t\t\t\"action\": \"SCMP_ACT_ALLOW\"
\t\t}
\t]
}
")
