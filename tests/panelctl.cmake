# panelctl: its parts, and the program itself against a scripted and a real service.

panelkit_test(test_panelctl_parts LINK panelctl_parts SOURCES
    panelctl/parts_test.cpp
    POSIX panelctl/parts_posix_test.cpp
    support/freed_memory.cpp)
panelkit_test(test_panelctl_language LINK panelctl_parts DEPENDS catalogues SOURCES
    panelctl/language_test.cpp)
panelkit_test(test_panelctl LINK thirdparty_json DEPENDS panelctl SOURCES
    panelctl/completion_test.cpp
    panelctl/doctor_test.cpp
    panelctl/scripted_test.cpp
    panelctl/transcript_test.cpp
    panelctl/tunnel_test.cpp)
panelkit_test(test_panelctl_config LINK thirdparty_json DEPENDS panelctl SOURCES
    panelctl/config_test.cpp)
if(NOT WIN32)
    panelkit_test(test_panelctl_config_real LINK thirdparty_json DEPENDS panelctl panelkitd SOURCES
        panelctl/config_real_service_test.cpp)
endif()

# panelctl cert, crl, psk
panelkit_test(test_panelctl_certs LINK panelctl_parts DEPENDS panelctl catalogues SOURCES
    panelctl/cert_list_test.cpp
    panelctl/cert_transfer_test.cpp
    panelctl/crl_psk_request_test.cpp
    panelctl/key_test.cpp
    panelctl/remarks_test.cpp)
if(NOT WIN32)
    target_sources(test_panelctl_certs PRIVATE
        support/pseudo_terminal_posix.cpp
        panelctl/cert_terminal_test.cpp
        panelctl/hidden_characters_posix_test.cpp)
    target_link_libraries(test_panelctl_certs PRIVATE util) # openpty
endif()
panelkit_test(test_panelctl_policy LINK thirdparty_json DEPENDS panelctl SOURCES
    panelctl/policy_test.cpp)
if(NOT WIN32)
    panelkit_test(test_panelctl_real LABELS release LINK thirdparty_json DEPENDS panelctl panelkitd SOURCES
        panelctl/answers_real_test.cpp
        panelctl/cert_real_test.cpp
        panelctl/completion_bash_test.cpp
        panelctl/real_service_test.cpp
        panelctl/unseen_real_test.cpp)
endif()

# The symbols of a sanitizer's build are not those of the library alone.
if(NOT WIN32 AND NOT PANELKIT_SANITIZE)
    add_test(NAME exported_operations
             COMMAND ${PROJECT_SOURCE_DIR}/scripts/exported-operations $<TARGET_FILE_DIR:panelctl>)
    set_tests_properties(exported_operations PROPERTIES LABELS release)
    add_dependencies(release_tests panelctl)
endif()

panelkit_test(test_panelctl_watch LINK thirdparty_json DEPENDS panelctl catalogues SOURCES
    panelctl/watch_test.cpp
    POSIX panelctl/watch_posix_test.cpp)

# The forms of --json; python3-jsonschema judges.
if(NOT WIN32)
    find_package(Python3 COMPONENTS Interpreter REQUIRED)
    add_test(NAME panelctl_json_schema
             COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/panelctl/json_schema_test.py
                     $<TARGET_FILE_DIR:panelctl> ${PROJECT_SOURCE_DIR}/docs/panelctl.schema.json)
endif()
