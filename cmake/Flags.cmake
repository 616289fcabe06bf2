# SPDX-License-Identifier: ISC
# Compiler and linker options that hold for every target.
add_compile_options(
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wformat=2 -Wundef -Werror
)
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)
if(KELVANTORIUM_SANITIZE)
    add_compile_options(-fsanitize=${KELVANTORIUM_SANITIZE} -fno-omit-frame-pointer -g)
    add_link_options(-fsanitize=${KELVANTORIUM_SANITIZE})
    if(KELVANTORIUM_SANITIZE MATCHES undefined)
        add_compile_options(-fno-sanitize-recover=undefined)
    endif()
endif()
