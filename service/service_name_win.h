// SPDX-License-Identifier: MIT
//
// The names under which Windows knows the service. Windows only.
#pragma once

namespace panelkitd {

inline constexpr const wchar_t* serviceName = L"panelkitd";
inline constexpr const wchar_t* serviceTitle = L"panelkit service";

// Where the event viewer finds the texts of our events.
inline constexpr const wchar_t* eventSourceKey = LR"(SYSTEM\CurrentControlSet\Services\EventLog\Application\panelkitd)";

} // namespace panelkitd
