# Attacks that take minutes: scripts/robustness builds and runs them; they are not part of the build or of ctest.
#
#   panelkit_attack(<name> [LINK <target>...] SOURCES <file>...)
add_custom_target(attacks)
function(panelkit_attack name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_executable(attack_${name} EXCLUDE_FROM_ALL attack/attack.cpp ${ARG_SOURCES})
    target_link_libraries(attack_${name} PRIVATE ${ARG_LINK} test_support panelkit GTest::gmock_main)
    target_precompile_headers(attack_${name} REUSE_FROM test_headers)
    target_compile_definitions(attack_${name} PRIVATE
        PANELKIT_TEST_TOKEN_FILE="$<TARGET_FILE_NAME:panelkit_test_token>")
    if(PANELKIT_SANITIZE)
        target_compile_definitions(attack_${name} PRIVATE PANELKIT_ATTACK_SANITIZED)
    endif()
    add_dependencies(attack_${name} panelkitd panelkit_test_token)
    add_dependencies(attacks attack_${name})
endfunction()

panelkit_attack(lying_module SOURCES attack/lying_module_test.cpp)
panelkit_attack(connections SOURCES attack/connections_test.cpp)
panelkit_attack(commands SOURCES attack/commands_test.cpp)
panelkit_attack(kills SOURCES attack/kills_test.cpp)
panelkit_attack(replies SOURCES attack/replies_test.cpp attack/samples.cpp)
panelkit_attack(requests LINK certificate_maker SOURCES attack/requests_test.cpp attack/samples.cpp)
