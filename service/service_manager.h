// SPDX-License-Identifier: MIT
//
// What the service and the program that started it tell each other. On Linux that is systemd's protocol: a socket may
// be passed on, and the manager hears when the service can be used. On Windows it is the service control manager, which
// also asks the service to stop. Without such a manager nothing happens.
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace panelkitd {

// Returns the socket that listens at `endpoint` already, which the caller owns; nullopt when none was passed. Throws
// std::runtime_error when the manager passed something else: then unit files contradict each other. To be called before
// the first process is started, because that would inherit the socket.
std::optional<int> inheritedSocket(const std::string& endpoint);

enum class ServicePhase : unsigned char { serving, stopping };

void tellServiceManager(ServicePhase phase); // any thread

// Runs `serve`, which returns the exit status, and returns that status. On Windows it runs on a thread of the manager,
// which hears all phases, and the log goes to the event log. There this fails in a process that the manager has not
// started. To be called once.
int serveForManager(const std::function<int()>& serve);

} // namespace panelkitd
