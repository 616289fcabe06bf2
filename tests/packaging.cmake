# SPDX-License-Identifier: ISC
# Service files, recipe, access files and manual page: checked with the tools of their trade.
foreach(fact IN ITEMS
    scriptsPassShellcheck
    serviceIsQuietAndPatientAndConfined
    changedSettingsWaitForRunningInitialisation
    returnedModemHealsOnlyFromError
    healingIsRateLimitedAndEnds
    hotplugReactsToAppearingSerialPorts
    firstBootKeepsTheUsersSettings
    accessGrantsEachMethodToOneGroup
    recipeAndInstallRulesAgree
    manualPassesLint
    measuredCallsMissingFromTheFilterAreFound
)
    add_test(NAME packaging.${fact} COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/packaging/run ${fact})
endforeach()
