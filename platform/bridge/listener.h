// SPDX-License-Identifier: MIT
//
// The service's end of the endpoint: accepts connections on a Unix socket or named pipe.
#pragma once

#include <platform/bridge/channel.h>

#include <memory>
#include <string>

namespace bridge {

// Which accounts the operating system lets connect; the service itself checks them again.
struct ListenOptions {
    // On POSIX the socket's mode is 0666 and its folder limits access; on Windows these accounts (SIDs) may open the
    // pipe beside the service's own account, the system and the administrators. Empty: no others.
    std::string users;

    // POSIX: a socket that listens at the endpoint already, for example one of the service manager's. The listener owns
    // it from now on, but not the file, which stays when the listener ends. -1: none.
    int inherited = -1;
};

class Listener {
public:
    // Throws std::runtime_error, with a text for people, when the endpoint can't be used: another service serves it,
    // the folder is missing, the path is too long. A socket file that a killed service left is replaced.
    Listener(const std::string& endpoint, const ListenOptions& options);
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    struct Accepted {
        std::unique_ptr<Channel> channel; // null after stop() was called
        bool isLast = false;              // no descriptor is left for another one, so it should be refused and closed
    };

    // Waits for the next connection.
    Accepted accept();

    // Ends present and later calls of accept(); from any thread.
    void stop();

private:
    struct Socket;
    std::unique_ptr<Socket> socket_;
};

} // namespace bridge
