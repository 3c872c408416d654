// SPDX-License-Identifier: MIT
//
// The handlers that need OpenSSL, in a build without it. They refuse all commands.
#include <service/monitor/monitor_commands.h>

#include <service/base/refused.h>

namespace panelkitd {

namespace {

[[noreturn]] std::string notHere() {
    throw RefusedError(vocabulary::Refused::notSupported, "this build of the service does not handle certificates");
}

} // namespace

std::string MonitorCommands::enumKeys(Call&) { notHere(); }
std::string MonitorCommands::publicKey(Call&) { notHere(); }
std::string MonitorCommands::generateKey(Call&) { notHere(); }
std::string MonitorCommands::deleteKey(Call&) { notHere(); }
std::string MonitorCommands::deleteCertificateAndKey(Call&) { notHere(); }
std::string MonitorCommands::enumLabels(Call&) { notHere(); }

} // namespace panelkitd
