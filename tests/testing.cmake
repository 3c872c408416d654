# What front-end teams test with.

add_library(module_library STATIC
    testing/module_library.cpp)
target_link_libraries(module_library PUBLIC platform_core thirdparty_pkcs11)
target_compile_definitions(module_library PRIVATE PANELKIT_TEST_TOKEN_FILE="$<TARGET_FILE_NAME:panelkit_test_token>")

# What loads the module is beside it in the build's one folder of programs.
add_executable(token_module_probe testing/token_module_probe.cpp)
target_link_libraries(token_module_probe PRIVATE module_library)

panelkit_test(test_token_module LABELS threads LINK module_library SOURCES
    testing/token_consumer.cpp
    testing/token_module_test.cpp)
if(NOT WIN32 AND NOT PANELKIT_SANITIZE)
    target_sources(test_token_module PRIVATE
        testing/token_module_memory_test.cpp
        testing/token_module_opensc_test.cpp)
endif()
add_dependencies(test_token_module panelkit_test_token token_module_probe)
