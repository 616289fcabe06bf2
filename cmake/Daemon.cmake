# SPDX-License-Identifier: ISC
# The daemon: its objects without main (the tests link them too) and the program itself.

add_library(daemon_objects OBJECT
    at/ask.cpp
    at/await.cpp
    at/port.cpp
    at/reply.cpp
    at/sendat.cpp
    at/timer.cpp
    at/ussd.cpp
    bus/get.cpp
    bus/notify.cpp
    bus/object.cpp
    bus/raw.cpp
    bus/request.cpp
    config/init.cpp
    config/initsteps.cpp
    config/methods.cpp
    config/replies.cpp
    config/settings.cpp
    core/life/modem.cpp
    core/life/signals.cpp
    core/life/thread.cpp
    core/life/worker.cpp
    core/record/assertion.cpp
    core/record/command.cpp
    core/record/cursor.cpp
    core/record/descriptor.cpp
    core/record/pause.cpp
    core/record/pmod.cpp
    core/record/trace.cpp
    core/record/transition.cpp
    indicators/adc.cpp
    indicators/gpio.cpp
    indicators/leds.cpp
    indicators/slots.cpp
    monitor/defaults.cpp
    monitor/gnss.cpp
    monitor/link.cpp
    monitor/poll.cpp
    monitor/route.cpp
    monitor/signal.cpp
    monitor/steps.cpp
    sms/deliver.cpp
    sms/list.cpp
    sms/listfile.cpp
    sms/methods.cpp
    sms/parts.cpp
    sms/receive.cpp
    sms/send.cpp
    sms/storage.cpp
    sms/submit.cpp
    sms/text.cpp
)
add_library(daemon_main OBJECT core/life/main.cpp)

foreach(objects IN ITEMS daemon_objects daemon_main)
    target_include_directories(${objects} PUBLIC ${PROJECT_SOURCE_DIR})
    target_compile_options(${objects} PRIVATE
        -fno-exceptions -fno-rtti -fno-threadsafe-statics
        -fno-unwind-tables -fno-asynchronous-unwind-tables
        -ffunction-sections -fdata-sections)
    target_link_libraries(${objects} PUBLIC
        platform::ubus platform::ubox platform::uci Threads::Threads)
endforeach()

# Linked with the C driver, and without the C++ runtime that CMake would add on its own for C++
# objects: the target has none, and this keeps it so. C++ programs get it from their own driver.
set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")
add_executable(kelvantorium ${PROJECT_BINARY_DIR}/version.c)
target_link_libraries(kelvantorium PRIVATE daemon_main daemon_objects)
set_target_properties(kelvantorium PROPERTIES
    LINKER_LANGUAGE C
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
target_link_options(kelvantorium PRIVATE -Wl,--gc-sections -Wl,-z,relro,-z,now
    -Wl,--undefined=kelvantorium_version)  # nothing refers to it
if(KELVANTORIUM_PAGE_SIZE)
    target_link_options(kelvantorium PRIVATE -Wl,-z,max-page-size=${KELVANTORIUM_PAGE_SIZE})
endif()
