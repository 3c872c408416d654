# What front-end teams test with.

panelkit_test(test_token_module LABELS threads LINK thirdparty_pkcs11 DEPENDS panelkit_test_token SOURCES
    testing/token_module_test.cpp)
