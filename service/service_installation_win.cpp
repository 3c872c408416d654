// SPDX-License-Identifier: MIT
#include <service/service_installation_win.h>

#include <service/service_name_win.h>

#include <platform/bridge/peer.h>
#include <platform/system/access_win.h>
#include <platform/system/child_process_win.h>
#include <platform/system/files.h>
#include <platform/system/folders_win.h>
#include <platform/system/host.h>
#include <platform/text/utf16.h>
#include <platform/text/utf8_path.h>

#include <array>
#include <stdexcept>

namespace panelkitd {

namespace {

constexpr const wchar_t* description =
    L"Gives front ends on this computer access to PKCS#11 tokens, certificates, configuration and policy.";

ServiceHandle openManager(DWORD rights) {
    ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, rights));
    if (!manager) fail("the service control manager can't be used; run this as administrator");
    return manager;
}

// The path is quoted: without the marks, the manager would try "C:\Program.exe" first.
std::wstring imagePath(const std::vector<std::string>& arguments) {
    std::vector<std::string> line{platform::executablePath()};
    line.insert(line.end(), arguments.begin(), arguments.end());
    std::wstring text = platform::commandLineOf(line);
    text.pop_back(); // the blank at its end
    return text;
}

// What the system does not know stays as it is; an older one knows less.
template <class Config>
void configure(const ServiceHandle& service, DWORD what, Config config, const char* name) {
    if (ChangeServiceConfig2W(service.get(), what, &config)) return;
    const DWORD error = GetLastError();
    if (error != ERROR_INVALID_LEVEL) fail(std::string("the service's ") + name, error);
}

// Started again after 5 seconds, 30 seconds, and then each time after a minute; also when it ends with an error by
// itself. After a day the count begins again.
void setFailureActions(const ServiceHandle& service) {
    std::array<SC_ACTION, 3> actions{
        {{SC_ACTION_RESTART, 5'000}, {SC_ACTION_RESTART, 30'000}, {SC_ACTION_RESTART, 60'000}}};
    constexpr DWORD day = 24 * 60 * 60;
    configure(service, SERVICE_CONFIG_FAILURE_ACTIONS,
              SERVICE_FAILURE_ACTIONSW{
                  .dwResetPeriod = day, .cActions = static_cast<DWORD>(actions.size()), .lpsaActions = actions.data()},
              "failure actions");
    configure(service, SERVICE_CONFIG_FAILURE_ACTIONS_FLAG, SERVICE_FAILURE_ACTIONS_FLAG{TRUE}, "failure actions");
}

void setDetails(const ServiceHandle& service) {
    std::wstring text = description;
    configure(service, SERVICE_CONFIG_DESCRIPTION, SERVICE_DESCRIPTIONW{text.data()}, "description");
    setFailureActions(service);
    constexpr DWORD timeToStop = 20'000; // milliseconds: the grace for commands, and what the service takes after it
    configure(service, SERVICE_CONFIG_PRESHUTDOWN_INFO, SERVICE_PRESHUTDOWN_INFO{timeToStop}, "time to stop");
    // Of the privileges of a service's account it needs only the one to pass through folders, which all accounts have.
    std::wstring privileges(L"SeChangeNotifyPrivilege\0", 24);
    configure(service, SERVICE_CONFIG_REQUIRED_PRIVILEGES_INFO, SERVICE_REQUIRED_PRIVILEGES_INFOW{privileges.data()},
              "privileges");
}

// Without this, the event viewer shows our texts after a complaint that it does not know the source.
void registerEventSource() {
    const std::wstring program = platform::toUtf16(platform::executablePath());
    const auto size = static_cast<DWORD>((program.size() + 1) * sizeof(wchar_t));
    const DWORD types = EVENTLOG_ERROR_TYPE | EVENTLOG_WARNING_TYPE | EVENTLOG_INFORMATION_TYPE;
    const auto require = [](LSTATUS result) {
        if (result != ERROR_SUCCESS) fail("the source of its events", static_cast<DWORD>(result));
    };
    HKEY key = nullptr;
    require(RegCreateKeyExW(HKEY_LOCAL_MACHINE, eventSourceKey, 0, nullptr, 0, KEY_SET_VALUE, nullptr, &key, nullptr));
    RegCloseKey(key);
    const auto set = [&](const wchar_t* name, DWORD type, const void* value, DWORD bytes) {
        require(RegSetKeyValueW(HKEY_LOCAL_MACHINE, eventSourceKey, name, type, value, bytes));
    };
    set(L"EventMessageFile", REG_EXPAND_SZ, program.c_str(), size);
    set(L"TypesSupported", REG_DWORD, &types, sizeof types);
}

// The account exists from the moment when the service is registered. Where it does not, the service runs with the
// rights of who installs it.
void giveStateFolder(const std::string& path) {
    const std::string account = platform::userId(bridge::serviceAccount);
    platform::makePrivateFolderFor(path, account.empty() ? platform::ownAccount() : account);
}

} // namespace

void fail(const std::string& what, DWORD error) {
    throw std::runtime_error(what + ": " + platform::systemErrorText(error));
}

ServiceHandle openService(DWORD rights) {
    const ServiceHandle manager = openManager(SC_MANAGER_CONNECT);
    ServiceHandle service(OpenServiceW(manager.get(), serviceName, rights));
    if (service) return service;
    const DWORD error = GetLastError();
    if (error == ERROR_SERVICE_DOES_NOT_EXIST) throw std::runtime_error("the service is not installed");
    fail("the service can't be opened; run this as administrator", error);
}

SERVICE_STATUS_PROCESS statusOf(const ServiceHandle& service) {
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    if (!QueryServiceStatusEx(service.get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof status,
                              &needed)) {
        fail("the state of the service");
    }
    return status;
}

void installService(const ServiceSetup& setup) {
    if (!platform::toPath(setup.state).is_absolute()) {
        throw std::runtime_error("--state is not an absolute path, and the service has another current folder: " +
                                 setup.state);
    }
    const ServiceHandle manager = openManager(SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE);
    const ServiceHandle service(CreateServiceW(manager.get(), serviceName, serviceTitle, SERVICE_ALL_ACCESS,
                                               SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START, SERVICE_ERROR_NORMAL,
                                               imagePath(setup.arguments).c_str(), nullptr, nullptr, nullptr,
                                               platform::toUtf16(bridge::serviceAccount).c_str(), nullptr));
    if (!service) {
        const DWORD error = GetLastError();
        if (error == ERROR_SERVICE_EXISTS) throw std::runtime_error("the service is installed already");
        fail("the service can't be registered", error);
    }
    try {
        setDetails(service);
        registerEventSource();
        giveStateFolder(setup.state);
    } catch (const std::exception&) {
        removeService(service);
        throw;
    }
}

void removeService(const ServiceHandle& service) {
    if (!DeleteService(service.get())) fail("the service can't be removed");
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, eventSourceKey);
}

} // namespace panelkitd
