// SPDX-License-Identifier: MIT
//
// What the service and the program that started it tell each other. On Linux that is systemd's protocol: a socket may
// be passed on, and the manager hears when the service can be used. Without such a manager nothing happens.
#pragma once

#include <optional>
#include <string>

namespace panelkitd {

// Returns the socket that listens at `endpoint` already, which the caller owns; nullopt when none was passed. Throws
// std::runtime_error when the manager passed something else: then unit files contradict each other. To be called before
// the first process is started, because that would inherit the socket.
std::optional<int> inheritedSocket(const std::string& endpoint);

enum class ServicePhase : unsigned char { serving, stopping };

void tellServiceManager(ServicePhase phase); // any thread

} // namespace panelkitd
