# Debian packages: cpack --preset packages (CMakePresets.json), or scripts/debian-packages, which checks them too.
#
#   libpanelkit0    library and its translation         panelkitd   the service, its unit and account
#   libpanelkit-dev headers, CMake and pkg-config files, panelctl    the console front end
#                   the testing kit                      panelkit-doc documents and examples
set(PANELKIT_PACKAGE_RELEASE 1 CACHE STRING "Debian's revision of the packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR panelkit)
set(PANELKIT_MAINTAINER "panelkit developers <panelkit@example.org>" CACHE STRING "Who maintains the packages")
set(CPACK_PACKAGE_CONTACT ${PANELKIT_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                                WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${PANELKIT_PACKAGE_RELEASE})
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/bin)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

set(same_version "(= ${PROJECT_VERSION}-${PANELKIT_PACKAGE_RELEASE})")

# panelkit_package(<group> <name> <summary> <text> COMPONENTS <component>... [DEPENDS <packages>] [RECOMMENDS <packages>]
#                  [SECTION <section>] [ARCHITECTURE all] [SCRIPTS <file>...])
function(panelkit_package group name summary text)
    cmake_parse_arguments(ARG "" "DEPENDS;RECOMMENDS;SECTION;ARCHITECTURE" "COMPONENTS;SCRIPTS" ${ARGN})
    string(TOUPPER ${group} key)
    foreach(component IN LISTS ARG_COMPONENTS)
        string(TOUPPER CPACK_COMPONENT_${component}_GROUP variable)
        set(${variable} ${group} PARENT_SCOPE)
    endforeach()
    set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${ARG_COMPONENTS} PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${ARG_DEPENDS}" PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_PACKAGE_RECOMMENDS "${ARG_RECOMMENDS}" PARENT_SCOPE)
    if(ARG_SECTION)
        set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${ARG_SECTION} PARENT_SCOPE)
    endif()
    if(ARG_ARCHITECTURE)
        set(CPACK_DEBIAN_${key}_PACKAGE_ARCHITECTURE ${ARG_ARCHITECTURE} PARENT_SCOPE)
        set(CPACK_DEBIAN_${key}_PACKAGE_SHLIBDEPS OFF PARENT_SCOPE)
    endif()
    set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA "${ARG_SCRIPTS}" PARENT_SCOPE)
    if(PANELKIT_DEBIAN_FILES)
        list(GET ARG_COMPONENTS 0 component)
        install(FILES packaging/debian/copyright ${PROJECT_BINARY_DIR}/packaging/changelog.Debian.gz
                DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
    endif()
endfunction()

if(PANELKIT_DEBIAN_FILES)
    string(TIMESTAMP today "%a, %d %b %Y 00:00:00 +0000" UTC)
    file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/packaging/changelog.Debian
         CONTENT "panelkit (@PROJECT_VERSION@-@PANELKIT_PACKAGE_RELEASE@) unstable; urgency=medium\n\n  * CHANGELOG.md in panelkit-doc says what has changed.\n\n -- @CPACK_PACKAGE_CONTACT@  @today@\n" @ONLY)
    execute_process(COMMAND gzip -9nkf ${PROJECT_BINARY_DIR}/packaging/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
endif()

panelkit_package(library libpanelkit${PROJECT_VERSION_MAJOR}
    "library for front ends of an IKE/IPsec VPN client"
    "Front ends use it to administer the VPN service on the same host:\nPKCS#11 tokens, certificates, preshared keys, configuration parameters,\nthe local security policy and notifications."
    COMPONENTS library SECTION libs SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
panelkit_package(headers libpanelkit-dev
    "headers and testing kit of the panelkit library"
    "The headers, the CMake and pkg-config files, a scripted service for tests\nof front ends, and a PKCS#11 module for tests."
    COMPONENTS development testing DEPENDS "libpanelkit${PROJECT_VERSION_MAJOR} ${same_version}" SECTION libdevel)
panelkit_package(daemon panelkitd
    "reference service of the panelkit library"
    "The service that front ends talk to. It uses PKCS#11 tokens, certificates\nand a stored configuration, and runs as an account of its own."
    COMPONENTS service DEPENDS "libpanelkit${PROJECT_VERSION_MAJOR} ${same_version}, systemd | systemd-standalone-sysusers"
    RECOMMENDS "softhsm2, charon-systemd, strongswan-swanctl, libcharon-extra-plugins, libstrongswan-extra-plugins, libstrongswan-standard-plugins, nftables"
    SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/debian/postinst ${PROJECT_SOURCE_DIR}/packaging/debian/prerm
            ${PROJECT_SOURCE_DIR}/packaging/debian/postrm)
panelkit_package(console panelctl
    "console front end of the panelkit library"
    "Administers the VPN service from the command line."
    COMPONENTS frontend DEPENDS "libpanelkit${PROJECT_VERSION_MAJOR} ${same_version}" RECOMMENDS "panelkitd")
panelkit_package(documents panelkit-doc
    "documents and examples of the panelkit library"
    "The wire format, the interface of the service, the configuration\nparameters, and examples for developers of front ends."
    COMPONENTS documentation SECTION doc ARCHITECTURE all)

include(CPack)
