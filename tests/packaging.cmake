# SPDX-License-Identifier: ISC
# Service files, recipe, access files and manual page: checked with the tools of their trade.
set(packaging_facts
    serviceIsPatientAndStartsWithItsPorts
    serviceIsConfinedAsFarAsTheSystemCan
    reloadLeavesTheServiceFree
    changedSettingsWaitForRunningInitialisation
    returnedModemHealsOnlyFromErrorAndNotForEver
    watcherOrdersWithGrowingPauses
    portsAreNamedByWhatTheyAre
    namesOfOthersAreLeftAlone
    hotplugNamesPortsThenHeals
    interfaceJoinsTheZoneOfTheWan
    existingInterfaceAndZoneStay
    firstBootKeepsTheUsersSettings
    accessGrantsEachMethodToOneGroup
    accessGroupsComeWithThePackage
    recipeAndInstallRulesAgree
    recipesSourceKeepsTheOptimisation
    filtersHoldWhatTheirArchitectureHas
    measuredCallsMissingFromTheFilterAreFound
    manualPassesLint
)
# The sanitizers make calls of their own.
if(KELVANTORIUM_ROUTER AND NOT KELVANTORIUM_SANITIZE)
    list(APPEND packaging_facts daemonLivesUnderItsFilter)
endif()
foreach(fact IN LISTS packaging_facts)
    add_test(NAME packaging.${fact} COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/packaging/run ${fact})
    set_tests_properties(packaging.${fact} PROPERTIES ENVIRONMENT BUILD=${PROJECT_BINARY_DIR})
endforeach()
