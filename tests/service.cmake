# panelkitd: its parts, and end to end.

# End to end, against a real panelkitd with SoftHSM2.
panelkit_test(test_service_tokens DEPENDS panelkitd SOURCES
    service/tokens_test.cpp
    POSIX service/tokens_posix_test.cpp)
if(NOT WIN32)
    # A sanitizer keeps freed memory and copies of its own, so the scan says nothing there.
    if(NOT PANELKIT_SANITIZE)
        add_executable(pin_client support/pin_client.cpp)
        target_link_libraries(pin_client PRIVATE panelkit)
        panelkit_test(test_service_secrets LABELS release LINK certificate_maker DEPENDS panelkitd pin_client SOURCES
            panelkit/certs/cert_secrets_test.cpp
            service/secrets_test.cpp
            support/memory_scan_posix.cpp)
    endif()
endif()

# Certificates, with what OpenSSL makes for them.
add_library(certificate_maker STATIC support/certificate_maker.cpp)
target_link_libraries(certificate_maker PUBLIC panelkit_options thirdparty_openssl)
add_executable(token_user support/token_user.cpp)
target_link_libraries(token_user PRIVATE panelkitd_parts)
panelkit_test(test_service_certs LINK certificate_maker DEPENDS panelkitd panelkit_test_token token_user catalogues SOURCES
    service/certs_files_test.cpp
    service/certs_requests_test.cpp
    service/certs_test.cpp
    service/command_fields_test.cpp
    POSIX service/remarks_test.cpp)
if(NOT WIN32)
    panelkit_test(test_service_module_host LINK panelkitd_parts SOURCES
        service/module_host_posix_test.cpp)
endif()

# These look into the service's parts.
panelkit_test(test_service_certs_tokens LINK certificate_maker panelkitd_parts DEPENDS panelkitd panelkit_test_token SOURCES
    service/certs_token_states_test.cpp
    service/hosted_module_test.cpp)

# Rules of the service's parts, at their boundaries.
panelkit_test(test_service_rules LINK certificate_maker panelkitd_parts SOURCES
    service/certs_rules_test.cpp
    service/config_rules_test.cpp
    service/dispatcher_test.cpp
    POSIX service/trust_rules_posix_test.cpp)
if(NOT WIN32)
    panelkit_test(test_service_rights DEPENDS panelctl panelkitd SOURCES
        service/rights_posix_test.cpp)
    panelkit_test(test_service_crowd DEPENDS panelkitd SOURCES
        service/crowd_posix_test.cpp)
    panelkit_test(test_service_resilience LABELS release DEPENDS panelkitd panelkit_test_token SOURCES
        service/resilience_posix_test.cpp)
    panelkit_test(test_service_module_hosts LINK certificate_maker DEPENDS panelctl panelkitd panelkit_test_token SOURCES
        service/module_hosts_posix_test.cpp)
endif()

# The module for additions.
panelkit_test(test_service_monitor LINK certificate_maker DEPENDS panelkitd panelkit_test_token token_user SOURCES
    service/monitor_keys_test.cpp
    service/monitor_states_test.cpp)

panelkit_test(test_service_interfaces DEPENDS panelkitd SOURCES
    service/interfaces_test.cpp)

# The local security policy of the service, piece by piece.
panelkit_test(test_service_policy_parts LINK panelkitd_parts SOURCES
    service/filter_rules_test.cpp
    service/policies_test.cpp
    service/policy_diagnosis_test.cpp
    service/policy_text_test.cpp
    service/token_credentials_test.cpp
    service/unit_test.cpp
    POSIX service/log_posix_test.cpp)
if(NOT WIN32)
    panelkit_test(test_service_packet_filter LINK panelkitd_parts SOURCES
        support/two_hosts_posix.cpp
        service/packet_filter_posix_test.cpp)
endif()
panelkit_test(test_service_options DEPENDS panelkitd panelctl SOURCES
    service/options_test.cpp
    service/service_control_${PANELKIT_SYSTEM}_test.cpp)
if(WIN32)
    target_link_libraries(test_service_options PRIVATE panelkitd_parts)
endif()
panelkit_test(test_service_policy LABELS threads DEPENDS panelkitd SOURCES
    service/policy_test.cpp)
panelkit_test(test_service_policy_host LINK certificate_maker DEPENDS panelkitd panelkit_test_token SOURCES
    support/heard_notices.cpp
    service/notices_test.cpp
    service/policy_certificates_test.cpp
    POSIX service/policy_access_test.cpp)

panelkit_test(test_service_test_token LINK certificate_maker DEPENDS panelctl panelkitd panelkit_test_token SOURCES
    service/long_names_test.cpp
    service/test_token_test.cpp)

# The files in the state folder.
panelkit_test(test_service_state LINK panelkitd_parts DEPENDS panelkitd panelkit_test_token SOURCES
    support/state_damages_${PANELKIT_SYSTEM}.cpp
    service/state_damage_test.cpp
    service/state_file_test.cpp
    POSIX service/state_store_posix_test.cpp)

# The configuration of panelkitd.
panelkit_test(test_service_config LINK panelkitd_parts DEPENDS panelkitd panelctl SOURCES
    service/config_file_test.cpp
    service/config_kill_test.cpp
    service/config_secret_test.cpp
    service/config_test.cpp
    POSIX service/config_access_test.cpp)
if(NOT WIN32) # where a program's operators new and delete are those of its libraries too
    panelkit_test(test_service_config_memory LINK panelkitd_parts SOURCES
        support/freed_memory.cpp
        platform/system/secret_posix_test.cpp
        service/config_memory_test.cpp)
endif()
panelkit_test(test_service_config_threads LABELS threads LINK panelkitd_parts SOURCES
    service/config_threads_test.cpp)

panelkit_test(test_service_notifications DEPENDS panelkitd panelkit_test_token SOURCES
    support/heard_notices.cpp
    service/notifications_test.cpp)

panelkit_test(test_service_expiry LABELS threads LINK panelkitd_parts SOURCES
    support/heard_notices.cpp
    service/expiry_watch_test.cpp)

# Wake-ups are counted here, and those of a sanitizer are nobody's.
if(NOT WIN32 AND NOT PANELKIT_SANITIZE)
    panelkit_test(test_service_notifications_posix LABELS release DEPENDS panelctl panelkitd SOURCES
        support/heard_notices.cpp
        service/notifications_posix_test.cpp)
endif()

# systemd's protocol; the test plays the service manager.
if(NOT WIN32)
    find_package(Python3 COMPONENTS Interpreter REQUIRED)
    add_test(NAME socket_activation
             COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/service/socket_activation_test.py
                     $<TARGET_FILE_DIR:panelkitd>)
endif()

# The engine "charon": what needs no daemon.
panelkit_test(test_service_engine LABELS threads LINK panelkitd_parts SOURCES
    service/ike_connections_test.cpp
    service/vici_test.cpp)

# Tunnels with a real IKE daemon, in network namespaces of their own.
if(NOT WIN32)
    panelkit_test(test_service_tunnels LINK certificate_maker panelkitd_parts DEPENDS panelkitd panelctl SOURCES
        support/gateway_posix.cpp
        support/memory_scan_posix.cpp
        service/tunnels_posix_test.cpp
        service/tunnels_service_posix_test.cpp)
    panelkit_test(test_service_tunnels_sections LINK certificate_maker panelkitd_parts SOURCES
        support/gateway_posix.cpp
        service/tunnels_present_posix_test.cpp
        service/tunnels_sections_posix_test.cpp)
endif()
