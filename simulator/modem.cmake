# SPDX-License-Identifier: ISC
# The modem simulator: a model without input and output, and the program that puts it on two ptys.
add_library(simulator_modem STATIC
    modem/basic.cpp
    modem/card.cpp
    modem/interpreter.cpp
    modem/messages.cpp
    modem/model.cpp
    modem/network.cpp
    modem/pdu.cpp
    modem/profile.cpp
    modem/texts.cpp
    modem/unasked.cpp
)
target_include_directories(simulator_modem PUBLIC ${PROJECT_SOURCE_DIR})

add_executable(modem_simulator
    membership.cpp
    modem/conditions.cpp
    modem/control.cpp
    modem/delivery.cpp
    modem/device.cpp
    modem/main.cpp
    modem/report.cpp
)
target_link_libraries(modem_simulator PRIVATE simulator_modem platform::ubus platform::ubox)
set_target_properties(modem_simulator PROPERTIES
    OUTPUT_NAME modem-simulator
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
