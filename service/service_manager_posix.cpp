// SPDX-License-Identifier: MIT
#include <service/service_manager.h>

#include <sys/socket.h>
#include <systemd/sd-daemon.h>

#include <stdexcept>
#include <system_error>

namespace panelkitd {

std::optional<int> inheritedSocket(const std::string& endpoint) {
    const int count = ::sd_listen_fds(0);
    if (count < 0) throw std::system_error(-count, std::generic_category(), "the sockets of the service manager");
    if (count == 0) return std::nullopt;
    if (count > 1) {
        throw std::runtime_error("the service manager passed " + std::to_string(count) +
                                 " sockets; panelkitd takes one");
    }
    const int socket = SD_LISTEN_FDS_START;
    if (::sd_is_socket_unix(socket, SOCK_STREAM, 1, endpoint.c_str(), endpoint.size()) <= 0) {
        throw std::runtime_error("the socket that the service manager passed does not listen at " + endpoint +
                                 "; ListenStream of the socket unit and --endpoint must be the same path");
    }
    return socket;
}

void tellServiceManager(ServicePhase phase) {
    ::sd_notify(0, phase == ServicePhase::serving ? "READY=1\nSTATUS=Serving front ends." : "STOPPING=1");
}

// systemd needs no thread of its own.
int serveForManager(const std::function<int()>& serve) { return serve(); }

} // namespace panelkitd
