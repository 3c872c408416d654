# For Windows: one zip and one installer (NSIS), each with everything. In the folder of a cross build:
#
#   cmake --build . --target product && cpack
#
# The runtime of the compiler is linked in, so libpanelkit.dll is the only library. The installer is a 64-bit program, as
# all that it installs. It installs and starts the service, and its uninstaller stops and removes it.
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
set(CPACK_NSIS_DEFINES "Target amd64-unicode")
set(CPACK_VERBATIM_VARIABLES ON)

# A program that runs can't be overwritten, so a service that is there goes first. If the service can't be installed or
# started, the installer says why and ends with status 1; without a message when it runs silently (/S).
set(CPACK_NSIS_EXTRA_PREINSTALL_COMMANDS [[
  IfFileExists "$INSTDIR\bin\panelkitd.exe" 0 +3
    nsExec::ExecToLog '"$INSTDIR\bin\panelkitd.exe" --uninstall-service'
    Pop $0
]])
set(CPACK_NSIS_EXTRA_INSTALL_COMMANDS [[
  nsExec::ExecToStack '"$INSTDIR\bin\panelkitd.exe" --install-service'
  Pop $0
  Pop $1
  StrCmp $0 0 0 service_failed
  nsExec::ExecToStack '"$INSTDIR\bin\panelkitd.exe" --start-service'
  Pop $0
  Pop $1
  StrCmp $0 0 service_runs
  service_failed:
    SetErrorLevel 1
    DetailPrint "$1"
    MessageBox MB_OK|MB_ICONEXCLAMATION "The service could not be installed or started: $1" /SD IDOK
  service_runs:
]])
set(CPACK_NSIS_EXTRA_UNINSTALL_COMMANDS [[
  nsExec::ExecToLog '"$INSTDIR\bin\panelkitd.exe" --uninstall-service'
  Pop $0
]])
include(CPack)
