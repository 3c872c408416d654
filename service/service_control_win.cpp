// SPDX-License-Identifier: MIT
#include <service/service_control.h>

#include <service/exit_status.h>
#include <service/service_installation_win.h>

#include <platform/text/utf16.h>

#include <cstdint>
#include <iostream>
#include <stdexcept>

namespace panelkitd {

namespace {

constexpr DWORD pollTime = 100; // milliseconds

// Waits while the service is in that state and its check point advances, which it does every second. So a service that
// needs long is waited for, and one that hangs is not.
SERVICE_STATUS_PROCESS waitWhile(const ServiceHandle& service, DWORD pending) {
    constexpr ULONGLONG patience = 30'000; // milliseconds
    SERVICE_STATUS_PROCESS now = statusOf(service);
    DWORD checkPoint = now.dwCheckPoint;
    for (ULONGLONG since = GetTickCount64(); now.dwCurrentState == pending; now = statusOf(service)) {
        if (now.dwCheckPoint != checkPoint) since = GetTickCount64();
        if (GetTickCount64() - since > patience) throw std::runtime_error("the service does not go on; it hangs");
        checkPoint = now.dwCheckPoint;
        Sleep(pollTime);
    }
    return now;
}

std::string exitText(const SERVICE_STATUS_PROCESS& status) {
    if (status.dwWin32ExitCode == ERROR_SERVICE_SPECIFIC_ERROR) {
        return "exit status " + std::to_string(status.dwServiceSpecificExitCode);
    }
    return platform::systemErrorText(status.dwWin32ExitCode);
}

void start() {
    const ServiceHandle service = openService(SERVICE_START | SERVICE_QUERY_STATUS);
    if (!StartServiceW(service.get(), 0, nullptr) && GetLastError() != ERROR_SERVICE_ALREADY_RUNNING) {
        fail("the service can't be started");
    }
    const SERVICE_STATUS_PROCESS now = waitWhile(service, SERVICE_START_PENDING);
    if (now.dwCurrentState != SERVICE_RUNNING) {
        throw std::runtime_error("the service ended (" + exitText(now) + "); the event log \"Application\" says why");
    }
    std::cout << "the service runs\n";
}

void stop(const ServiceHandle& service) {
    SERVICE_STATUS ignored{};
    waitWhile(service, SERVICE_START_PENDING); // until then it takes no request
    if (!ControlService(service.get(), SERVICE_CONTROL_STOP, &ignored)) {
        const DWORD error = GetLastError();
        const bool ends = error == ERROR_SERVICE_NOT_ACTIVE || error == ERROR_SERVICE_CANNOT_ACCEPT_CTRL;
        if (!ends) fail("the service can't be stopped", error);
    }
    const SERVICE_STATUS_PROCESS now = waitWhile(service, SERVICE_STOP_PENDING);
    if (now.dwCurrentState != SERVICE_STOPPED) throw std::runtime_error("the service does not stop");
}

int tellStatus() {
    const ServiceHandle service = openService(SERVICE_QUERY_STATUS);
    const SERVICE_STATUS_PROCESS now = statusOf(service);
    switch (now.dwCurrentState) {
    case SERVICE_RUNNING: std::cout << "the service runs, process " << now.dwProcessId << "\n"; return 0;
    case SERVICE_START_PENDING: std::cout << "the service starts\n"; return 1;
    case SERVICE_STOP_PENDING: std::cout << "the service stops\n"; return 1;
    default: break;
    }
    const bool failed = now.dwWin32ExitCode != NO_ERROR && now.dwWin32ExitCode != ERROR_SERVICE_NEVER_STARTED;
    std::cout << "the service does not run" << (failed ? "; it ended with " + exitText(now) : "") << "\n";
    return 1;
}

int carryOut(ServiceAction action, const ServiceSetup& setup) {
    constexpr DWORD stopping = SERVICE_STOP | SERVICE_QUERY_STATUS;
    switch (action) {
    case ServiceAction::install:
        installService(setup);
        std::cout << "the service is installed; panelkitd --start-service starts it now\n";
        return 0;
    case ServiceAction::uninstall: {
        const ServiceHandle service = openService(stopping | DELETE);
        stop(service);
        removeService(service);
        std::cout << "the service is removed\n";
        return 0;
    }
    case ServiceAction::start: start(); return 0;
    case ServiceAction::stop:
        stop(openService(stopping));
        std::cout << "the service is stopped\n";
        return 0;
    case ServiceAction::status: return tellStatus();
    }
    return static_cast<int>(ExitStatus::usage);
}

} // namespace

int controlService(ServiceAction action, const ServiceSetup& setup) {
    try {
        return carryOut(action, setup);
    } catch (const std::exception& error) {
        std::cerr << "panelkitd: " << error.what() << "\n";
        return static_cast<int>(ExitStatus::failed);
    }
}

} // namespace panelkitd
