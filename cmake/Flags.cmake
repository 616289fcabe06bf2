# SPDX-License-Identifier: ISC
# Compiler and linker options that hold for every target. Warnings are errors in the presets
# (CMAKE_COMPILE_WARNING_AS_ERROR), not for those who build with a compiler we have not met.
add_compile_options(
    -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow -Wformat=2 -Wundef
    $<$<CONFIG:Debug>:-Wpedantic>  # headers of a target's C library may use extensions
)
# Checks in the C++ headers, of every index and of what must not be empty.
add_compile_definitions($<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CONFIG:Debug>>:_GLIBCXX_ASSERTIONS>)
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)
if(KELVANTORIUM_SANITIZE)
    add_compile_options(-fsanitize=${KELVANTORIUM_SANITIZE} -fno-omit-frame-pointer -g)
    add_link_options(-fsanitize=${KELVANTORIUM_SANITIZE})
    if(KELVANTORIUM_SANITIZE MATCHES undefined)
        add_compile_options(-fno-sanitize-recover=undefined)
        add_compile_definitions(KELVANTORIUM_NULL_CHECKED)
    endif()
endif()
