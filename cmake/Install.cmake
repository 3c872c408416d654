# The installed files, by component:
#
#   library      libpanelkit and the service's texts; needed to run front ends
#   development  headers, the CMake package (target panelkit::panelkit) and the pkg-config file
#   service      panelkitd, its unit, its account and its manual page
#   frontend     panelctl, its manual page and the completion scripts
#   documentation  the documents and examples
#
# The component "testing" (testing/) and the translations (po/) are installed by their own CMakeLists.txt. The target
# "product" builds everything that is installed, without tests.
if(WIN32)
    set(CMAKE_INSTALL_SBINDIR bin) # programs find the library in their own folder only
endif()
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

option(PANELKIT_DEBIAN_FILES
       "Install what Debian wants in each package: copyright, changelog, compressed manual pages" OFF)

add_custom_target(product)
add_dependencies(product panelkit panelkitd panelctl testing_kit panelkit_test_token catalogues)

# ---- the library

# The root of all includes: <panelkit/...>, <platform/...>, <vocabulary/...>.
set(header_root ${CMAKE_INSTALL_INCLUDEDIR}/panelkit)

set_target_properties(panelkit PROPERTIES EXPORT_NAME panelkit)
target_compile_features(panelkit PUBLIC cxx_std_20)
target_include_directories(panelkit PUBLIC $<INSTALL_INTERFACE:${header_root}>)
install(TARGETS panelkit EXPORT panelkitTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)

# All headers of the library except these, which only its own sources include.
set(internal_headers
    bridge/idle_hooks
    bridge/send_command
    certs/cert_file
    format/digits
    loc/text_table
    lparams/kind_row
    lsp/policy_lock
    notifications/command_listener
    notifications/handler_registry
    transcript/field_names
    transcript/transcript_fields)
list(JOIN internal_headers "|" internal_headers)
install(DIRECTORY panelkit/ DESTINATION ${header_root}/panelkit COMPONENT development
        FILES_MATCHING PATTERN "*.h"
        REGEX "(${internal_headers})\\.h$" EXCLUDE)
install(DIRECTORY vocabulary/ DESTINATION ${header_root}/vocabulary COMPONENT development FILES_MATCHING PATTERN "*.h")

# The headers of platform that those headers and the front end include. scripts/check-tree reads this list and the one
# above, and checks the includes of installed headers and of panelctl.
set(platform_headers
    printf_format.h
    bridge/bridge_session.h
    bridge/call_limits.h
    bridge/command_sender.h
    bridge/deadline.h
    bridge/failure.h
    bridge/receiver.h
    bridge/send_command_progress.h
    json/json.h
    loccore/localization.h
    loccore/messages.h
    loccore/module.h
    loccore/phrase.h
    stream/little_endian.h
    stream/stream.h
    system/clock.h
    system/guarded.h
    system/wipe.h
    text/ascii.h
    text/escape.h
    text/join.h
    text/utf8_character.h
    text/utf8_path.h)
foreach(header IN LISTS platform_headers)
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES platform/${header} DESTINATION ${header_root}/platform/${folder} COMPONENT development)
endforeach()
install(FILES ${PROJECT_BINARY_DIR}/generated/platform/export.h
        DESTINATION ${header_root}/platform COMPONENT development)

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/panelkit)
install(EXPORT panelkitTargets NAMESPACE panelkit:: DESTINATION ${package} COMPONENT development)
configure_package_config_file(packaging/panelkitConfig.cmake.in ${PROJECT_BINARY_DIR}/packaging/panelkitConfig.cmake
                              INSTALL_DESTINATION ${package} PATH_VARS PANELKIT_TEST_MODULE_FOLDER)
install(FILES ${PROJECT_BINARY_DIR}/packaging/panelkitConfig.cmake DESTINATION ${package} COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/panelkitConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/panelkitConfigVersion.cmake DESTINATION ${package} COMPONENT development)

# The same for pkg-config, with paths relative to the file, so that the whole tree can be moved.
set(pkgconfig ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH to_prefix /${pkgconfig} /)
configure_file(packaging/panelkit.pc.in ${PROJECT_BINARY_DIR}/packaging/panelkit.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/packaging/panelkit.pc DESTINATION ${pkgconfig} COMPONENT development)

# ---- documents

install(FILES LICENSE README.md CHANGELOG.md SECURITY.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
install(FILES packaging/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} RENAME INSTALL.md COMPONENT documentation)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation
        FILES_MATCHING PATTERN "*.md" PATTERN "*.json" PATTERN "examples/*" PATTERN man EXCLUDE)

# The reference of the headers, when scripts/api-reference has made it in this build folder.
install(DIRECTORY ${PROJECT_BINARY_DIR}/reference DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation OPTIONAL)

# ---- the programs

# They find the library by a relative path, so the whole tree can be moved. The programs in the build folder have that
# path and no other, and a link there leads them to the library: CMake would replace another path at the installation,
# and reserve the place for it with a colon, which makes the loader search the current folder.
file(RELATIVE_PATH to_library /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
set_target_properties(panelkitd panelctl PROPERTIES INSTALL_RPATH "$ORIGIN/${to_library}")
if(NOT WIN32 AND NOT CMAKE_SKIP_INSTALL_RPATH)
    set_target_properties(panelkitd panelctl PROPERTIES BUILD_WITH_INSTALL_RPATH ON)
    set(library libpanelkit.so.${PROJECT_VERSION_MAJOR})
    file(RELATIVE_PATH to_programs /${CMAKE_INSTALL_LIBDIR} /bin)
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR})
    file(CREATE_LINK ${to_programs}/${library} ${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR}/${library} SYMBOLIC)
endif()
install(TARGETS panelkitd RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT service)
install(TARGETS panelctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT frontend)

function(install_manual page section component)
    set(file ${PROJECT_SOURCE_DIR}/docs/man/${page}.${section})
    if(PANELKIT_DEBIAN_FILES)
        execute_process(COMMAND gzip -9nc ${file} OUTPUT_FILE ${PROJECT_BINARY_DIR}/packaging/${page}.${section}.gz
                        COMMAND_ERROR_IS_FATAL ANY)
        set(file ${PROJECT_BINARY_DIR}/packaging/${page}.${section}.gz)
    endif()
    install(FILES ${file} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
endfunction()
install_manual(panelkitd 8 service)
install_manual(panelctl 1 frontend)

# Completion scripts, written by panelctl itself; a cross build can't run it.
if(NOT CMAKE_CROSSCOMPILING)
    set(completion ${PROJECT_BINARY_DIR}/completion)
    file(MAKE_DIRECTORY ${completion})
    foreach(shell bash fish zsh)
        add_custom_command(OUTPUT ${completion}/${shell}
            COMMAND panelctl completion ${shell} > ${completion}/${shell} DEPENDS panelctl VERBATIM)
        list(APPEND scripts ${completion}/${shell})
    endforeach()
    add_custom_target(completion_scripts ALL DEPENDS ${scripts})
    add_dependencies(product completion_scripts)
    install(FILES ${completion}/bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
            RENAME panelctl COMPONENT frontend)
    install(FILES ${completion}/fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
            RENAME panelctl.fish COMPONENT frontend)
    install(FILES ${completion}/zsh DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions
            RENAME _panelctl COMPONENT frontend)
endif()

if(NOT WIN32)
    configure_file(packaging/panelkitd.service.in ${PROJECT_BINARY_DIR}/packaging/panelkitd.service @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/packaging/panelkitd.service packaging/panelkitd.socket
            DESTINATION lib/systemd/system COMPONENT service)
    configure_file(packaging/engine-charon.conf.in ${PROJECT_BINARY_DIR}/packaging/engine-charon.conf @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/packaging/engine-charon.conf
            DESTINATION ${CMAKE_INSTALL_DATADIR}/panelkitd COMPONENT service)
    install(FILES packaging/panelkit.sysusers DESTINATION lib/sysusers.d RENAME panelkit.conf COMPONENT service)
endif()
