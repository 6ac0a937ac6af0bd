# The program of a cross build, run as a user would, and both platforms' programs reading the other's module.
function(quorvel_program_test name program expected)
  add_test(NAME Program.${name}
    COMMAND ${CMAKE_COMMAND} "-DRUN=${program};${ARGN}" "-DEXPECTED=${expected}"
            -P "${PROJECT_SOURCE_DIR}/tests/check_output.cmake")
endfunction()

set(here "${CMAKE_CROSSCOMPILING_EMULATOR}" "$<TARGET_FILE:quorvel>")
set(native "${QUORVEL_NATIVE_BUILD}/quorvel")

quorvel_program_test(InspectAgrees "${here}"
  "PiPL, identification record and global set-up agree in all 10 properties" inspect)
quorvel_program_test(ParamsAsJson "${here}" "\"name\": \"Grid Width\"" params --json)
quorvel_program_test(About "${here}" "Quorvel, v${PROJECT_VERSION}" about)

set(entries "\"EffectMain\": true" "\"PluginDataEntryFunction\": true" "\"ran\": false" "\"match_name\": \"Quorvel\"")
quorvel_program_test(ReadsWindowsModulesOnLinux "${native}"
  "${entries};\"format\": \"PE\";\"8664\": \"EffectMain\";\"needs\":;\"KERNEL32.dll\";\"file_version\": \"${PROJECT_VERSION}."
  inspect --json "$<TARGET_FILE:Quorvel>")
quorvel_program_test(ReadsLinuxModulesOnWindows "${here}"
  "${entries};\"format\": \"ELF\";\"ma64\": \"EffectMain\";\"libc.so.6\""
  inspect --json "${QUORVEL_NATIVE_BUILD}/Quorvel.so")
