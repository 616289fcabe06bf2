# SPDX-License-Identifier: ISC
# The metrics of the daemon, with the shells and awks of both systems.
set(metrics_facts textsBecomeLabels fileGoesWithItsWriter routerServesWhatIsSwitchedOn)
if(KELVANTORIUM_ROUTER)
    list(APPEND metrics_facts modemIsFollowed)
endif()
foreach(fact IN LISTS metrics_facts)
    add_test(NAME metrics.${fact} COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/metrics/run ${fact})
    set_tests_properties(metrics.${fact} PROPERTIES ENVIRONMENT BUILD=${PROJECT_BINARY_DIR})
endforeach()
