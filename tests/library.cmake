# The library and the platform it stands on.

panelkit_test(test_bridge INTERNAL LABELS threads SOURCES
    panelkit/bridge/command_stream_test.cpp
    panelkit/bridge/payload_test.cpp
    panelkit/bridge/sessions_pool_test.cpp
    panelkit/bridge/stream_borders_test.cpp
    panelkit/transcript/transcript_test.cpp
    panelkit/bridge/call_limits_test.cpp
    panelkit/bridge/send_command_progress_test.cpp)
# The sanitizers need descriptors and memory for their own checks, and LeakSanitizer can't look into a set-user-ID program.
if(NOT WIN32 AND NOT PANELKIT_SANITIZE)
    target_sources(test_bridge PRIVATE
        panelkit/transcript/transcript_posix_test.cpp
        platform/bridge/scarcity_posix_test.cpp)
endif()

add_executable(channel_echo support/channel_echo.cpp)
target_link_libraries(channel_echo PRIVATE platform_core)
panelkit_test(test_bridge_server INTERNAL LABELS threads LINK bridge_server DEPENDS channel_echo SOURCES
    platform/bridge/channel_child_test.cpp
    platform/bridge/frame_test.cpp
    platform/bridge/listeners_test.cpp
    platform/bridge/push_test.cpp
    platform/bridge/remarks_test.cpp
    platform/bridge/server_test.cpp
    platform/bridge/wire_document_test.cpp
    POSIX platform/bridge/channel_posix_test.cpp
    platform/bridge/limits_posix_test.cpp)

# The memory that they give back is searched, so all of it is in one program.
panelkit_test(test_secrets INTERNAL LINK bridge_server SOURCES
    secrets_test.cpp
    support/freed_memory.cpp
    platform/json/json_test.cpp)

panelkit_test(test_loc INTERNAL DEPENDS catalogues SOURCES
    panelkit/loc/default_texts_test.cpp
    panelkit/loc/ui_module_test.cpp
    platform/codepage/utf8_test.cpp
    platform/loccore/catalogue_test.cpp
    platform/loccore/mo_file_test.cpp
    platform/loccore/module_test.cpp
    platform/loccore/phrase_test.cpp)

panelkit_test(test_lparams DEPENDS catalogues test_locales SOURCES
    panelkit/lparams/catalogue_test.cpp
    panelkit/lparams/config_transaction_test.cpp
    panelkit/lparams/formatted_params_test.cpp
    panelkit/lparams/param_text_test.cpp
    panelkit/lparams/persistence_test.cpp
    panelkit/lparams/section_body_test.cpp
    panelkit/lparams/translation_test.cpp)
target_compile_definitions(test_lparams PRIVATE TEST_LOCALES="${CMAKE_BINARY_DIR}/locales")

# Generated files are current, and every text is translated.
add_test(NAME documents_are_current COMMAND panelkit_documents check ${PROJECT_SOURCE_DIR})
set_tests_properties(documents_are_current PROPERTIES LABELS release)
add_dependencies(release_tests panelkit_documents)
add_test(NAME template_is_current COMMAND ${PANELKIT_EXTRACT_TEXTS} check)
foreach(translation "ru.po;panelkit.pot" "panelctl.ru.po;panelctl.pot")
    list(GET translation 0 po)
    add_test(NAME complete_${po} COMMAND ${MSGCMP} ${translation} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}/po)
endforeach()

panelkit_test(test_tokens SOURCES
    panelkit/tokens/tokens_controller_test.cpp)

panelkit_test(test_monitor SOURCES
    panelkit/monitor/monitor_controller_test.cpp)

panelkit_test(test_certs SOURCES
    panelkit/certs/certs_controller_test.cpp
    panelkit/certs/certs_session_test.cpp
    panelkit/certs/parse_cert_file_test.cpp)

# The local security policy, and what its file of settings stands on.
panelkit_test(test_lsp INTERNAL DEPENDS catalogues SOURCES
    panelkit/lsp/activation_test.cpp
    panelkit/lsp/lsp_controller_test.cpp
    panelkit/lsp/lsp_records_test.cpp
    panelkit/lsp/policy_text_test.cpp
    panelkit/lsp/user_settings_file_test.cpp
    POSIX panelkit/lsp/user_settings_file_posix_test.cpp)
panelkit_test(test_lsp_threads LABELS threads SOURCES
    panelkit/lsp/threads_test.cpp)
panelkit_test(test_xml_and_paths DEPENDS channel_echo panelkit_test_token SOURCES
    platform/paths/user_paths_test.cpp
    platform/system/long_names_test.cpp
    platform/xml/xml_document_test.cpp
    POSIX platform/paths/user_paths_posix_test.cpp
    platform/system/files_posix_test.cpp)
target_compile_definitions(test_xml_and_paths PRIVATE PANELKIT_ECHO_FILE="$<TARGET_FILE_NAME:channel_echo>")

# The example of README.md: it compiles and links as an installed consumer's program does.
add_executable(example_list_tokens ${PROJECT_SOURCE_DIR}/docs/examples/list_tokens.cpp)
target_link_libraries(example_list_tokens PRIVATE panelkit)
add_test(NAME example_list_tokens COMMAND example_list_tokens)
add_dependencies(release_tests example_list_tokens)
set_tests_properties(example_list_tokens PROPERTIES LABELS release
    ENVIRONMENT "PANELKIT_BRIDGE=/nobody/serves/this"
    PASS_REGULAR_EXPRESSION "the service isn't running|does not begin with") # the second under Windows

panelkit_test(test_net SOURCES
    panelkit/net/interf_controller_test.cpp)

panelkit_test(test_notifications LABELS threads SOURCES
    panelkit/notifications/notifications_test.cpp)

panelkit_test(test_format SOURCES
    panelkit/format/hex_text_test.cpp
    panelkit/format/host_lookup_test.cpp
    panelkit/format/ipv4_test.cpp
    panelkit/format/ipv6_test.cpp
    panelkit/format/nearest_test.cpp
    panelkit/format/number_range_test.cpp
    panelkit/format/time_text_test.cpp
    platform/text/text_test.cpp)
panelkit_test(test_format_threads LABELS threads SOURCES
    panelkit/format/everywhere_test.cpp
    platform/system/guarded_test.cpp)

panelkit_test(test_cli SOURCES
    panelkit/cli/cli_input_test.cpp
    panelkit/cli/cli_output_test.cpp
    panelkit/cli/make_abs_path_${PANELKIT_SYSTEM}_test.cpp
    panelkit/cli/utf8_test.cpp)

panelkit_test(test_codepage SOURCES
    platform/codepage/convi_test.cpp)

# The console itself is tried at both ends of a terminal: console_probe at one, a driver at the other. Locales that the
# system may lack are made in the build folder, which LOCPATH then names; the system's own are left alone.
add_executable(console_probe support/console_probe.cpp)
target_link_libraries(console_probe PRIVATE test_support panelkit)

find_program(LOCALEDEF localedef REQUIRED)
set(TEST_LOCALES ${CMAKE_BINARY_DIR}/locales)
foreach(charset UTF-8 KOI8-R IBM866)
    set(locale ${TEST_LOCALES}/ru_RU.${charset})
    add_custom_command(OUTPUT ${locale}/LC_CTYPE
        COMMAND ${CMAKE_COMMAND} -E make_directory ${TEST_LOCALES}
        COMMAND ${LOCALEDEF} -i ru_RU -f ${charset} ${locale} VERBATIM)
    list(APPEND locale_files ${locale}/LC_CTYPE)
endforeach()
add_custom_target(test_locales ALL DEPENDS ${locale_files})

if(NOT WIN32)
    panelkit_test(test_console DEPENDS console_probe test_locales SOURCES
        support/pseudo_terminal_posix.cpp
        platform/console/terminal_console_test.cpp)
    target_link_libraries(test_console PRIVATE util) # openpty
    target_compile_definitions(test_console PRIVATE
        CONSOLE_PROBE="$<TARGET_FILE:console_probe>" TEST_LOCALES="${TEST_LOCALES}")
elseif(CMAKE_CROSSCOMPILING_EMULATOR)
    find_program(PYTHON3 python3 REQUIRED)
    add_test(NAME test_console COMMAND ${PYTHON3} ${CMAKE_CURRENT_SOURCE_DIR}/support/console_under_wine.py
        $<TARGET_FILE:console_probe> ${TEST_LOCALES} ${CMAKE_CROSSCOMPILING_EMULATOR})
    set_tests_properties(test_console PROPERTIES TIMEOUT 300)
endif()
