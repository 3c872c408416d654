# What front-end teams test with.

add_library(module_library STATIC
    testing/module_library.cpp)
target_link_libraries(module_library PUBLIC platform_core thirdparty_pkcs11)
target_compile_definitions(module_library PRIVATE PANELKIT_TEST_TOKEN_FILE="$<TARGET_FILE_NAME:panelkit_test_token>")

panelkit_test(test_token_module LABELS threads LINK module_library SOURCES
    testing/token_consumer.cpp
    testing/token_module_test.cpp)
add_dependencies(test_token_module panelkit_test_token)

# Other programs load the module, and its own memory is looked into.
if(NOT WIN32 AND NOT PANELKIT_SANITIZE)
    panelkit_test(test_token_module_outside LABELS release LINK module_library SOURCES
        testing/token_consumer.cpp
        testing/token_module_memory_test.cpp
        testing/token_module_opensc_test.cpp)
    add_dependencies(test_token_module_outside panelkit_test_token)
endif()
