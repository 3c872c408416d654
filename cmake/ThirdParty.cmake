# Third-party code comes from Debian packages and is only called. The Windows build uses the same
# header-only packages: their headers are staged by link, because /usr/include as a whole must never
# be on the cross compiler's path.

# panelkit_headers(<target> <entry of /usr/include>...): an interface target with only these.
function(panelkit_headers target)
    set(stage ${CMAKE_BINARY_DIR}/staged/${target})
    file(MAKE_DIRECTORY ${stage})
    foreach(entry IN LISTS ARGN)
        get_filename_component(name ${entry} NAME)
        if(NOT EXISTS /usr/include/${entry})
            message(FATAL_ERROR "/usr/include/${entry} is missing: run scripts/install-packages check")
        endif()
        file(CREATE_LINK /usr/include/${entry} ${stage}/${name} SYMBOLIC)
    endforeach()
    add_library(${target} INTERFACE)
    target_include_directories(${target} SYSTEM INTERFACE ${stage})
endfunction()

panelkit_headers(thirdparty_asio asio asio.hpp)
target_compile_definitions(thirdparty_asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED)
if(WIN32)
    target_link_libraries(thirdparty_asio INTERFACE ws2_32 mswsock)
endif()

panelkit_headers(thirdparty_pkcs11 p11-kit-1/p11-kit)
panelkit_headers(thirdparty_cli11 CLI)
panelkit_headers(thirdparty_json nlohmann)

# XML, linked statically: a front end may use another version of it beside the library. There is no package for
# Windows, so it is built once and kept in the user's cache folder.
if(WIN32)
    execute_process(COMMAND ${PROJECT_SOURCE_DIR}/scripts/build-for-mingw pugixml
                    OUTPUT_VARIABLE pugixml OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    add_library(thirdparty_pugixml INTERFACE)
    target_include_directories(thirdparty_pugixml SYSTEM INTERFACE ${pugixml}/include)
    target_link_libraries(thirdparty_pugixml INTERFACE ${pugixml}/lib/libpugixml.a)
else()
    panelkit_headers(thirdparty_pugixml pugixml.hpp pugiconfig.hpp)
    find_package(pugixml REQUIRED)
    target_link_libraries(thirdparty_pugixml INTERFACE pugixml::static)
endif()

# For the service's certificates. There is no package for Windows, so it is built once and kept, as above.
add_library(thirdparty_openssl INTERFACE)
if(WIN32)
    execute_process(COMMAND ${PROJECT_SOURCE_DIR}/scripts/build-for-mingw openssl
                    OUTPUT_VARIABLE openssl OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    target_include_directories(thirdparty_openssl SYSTEM INTERFACE ${openssl}/include)
    target_link_libraries(thirdparty_openssl INTERFACE ${openssl}/lib/libcrypto.a ws2_32 crypt32)
else()
    find_package(OpenSSL 3 REQUIRED COMPONENTS Crypto)
    target_link_libraries(thirdparty_openssl INTERFACE OpenSSL::Crypto)
endif()

# The protocol between the service and systemd.
if(NOT WIN32)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(systemd REQUIRED IMPORTED_TARGET libsystemd)
    add_library(thirdparty_systemd INTERFACE)
    target_link_libraries(thirdparty_systemd INTERFACE PkgConfig::systemd)
endif()

if(PANELKIT_TESTS)
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
    include(GoogleTest)
endif()
