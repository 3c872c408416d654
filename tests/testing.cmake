# What front-end teams test with.

panelkit_test(test_token_module LABELS threads LINK thirdparty_pkcs11 SOURCES
    testing/token_module_test.cpp)
target_compile_definitions(test_token_module PRIVATE PANELKIT_TEST_TOKEN_FILE="$<TARGET_FILE_NAME:panelkit_test_token>")
add_dependencies(test_token_module panelkit_test_token)
