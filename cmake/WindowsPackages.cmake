# For Windows: one zip and one installer (NSIS), each with everything. In the folder of a cross build:
#
#   cmake --build . --target product && cpack
#
# The runtime of the compiler is linked in, so libpanelkit.dll is the only library.
set(CPACK_GENERATOR ZIP NSIS)
set(CPACK_PACKAGE_VENDOR panelkit)
set(CPACK_PACKAGE_CONTACT "panelkit developers <panelkit@example.org>")
set(CPACK_PACKAGE_FILE_NAME panelkit-${PROJECT_VERSION}-win64)
set(CPACK_PACKAGE_INSTALL_DIRECTORY panelkit)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_MONOLITHIC_INSTALL ON)
set(CPACK_NSIS_MODIFY_PATH ON)
set(CPACK_NSIS_ENABLE_UNINSTALL_BEFORE_INSTALL ON)
include(CPack)
