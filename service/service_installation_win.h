// SPDX-License-Identifier: MIT
//
// The service in the database of the service control manager. Functions throw std::runtime_error with the reason.
// Windows only.
#pragma once

#include <service/service_control.h>

#include <windows.h>

#include <memory>
#include <string>
#include <type_traits>

namespace panelkitd {

struct ServiceHandleCloser {
    void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};
using ServiceHandle = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, ServiceHandleCloser>;

// Throws "WHAT: the system's reason".
[[noreturn]] void fail(const std::string& what, DWORD error = GetLastError());

// The installed service, with these rights.
ServiceHandle openService(DWORD rights);

SERVICE_STATUS_PROCESS statusOf(const ServiceHandle& service);

// Registers this program, and what belongs to it: the source of its events, and the state folder, which the service's
// account may then use. What was done is undone if something fails; only an empty state folder may stay.
void installService(const ServiceSetup& setup);

// Removes what installService has made, but not the state folder. The service has stopped.
void removeService(const ServiceHandle& service);

} // namespace panelkitd
