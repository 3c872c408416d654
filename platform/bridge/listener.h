// SPDX-License-Identifier: MIT
//
// The service's end of the endpoint: accepts connections on a Unix socket or named pipe.
#pragma once

#include <platform/bridge/channel.h>

#include <memory>
#include <string>

namespace bridge {

// Who may connect at all, as far as the operating system can tell; the service itself decides once more.
struct ListenOptions {
    // On POSIX the socket's mode is 0666 and its folder guards it; on Windows these accounts (SIDs) may open the
    // pipe beside the service's own account, the system and the administrators. Empty: nobody else.
    std::string users;
};

class Listener {
public:
    // Throws std::runtime_error, with a text for people, when the endpoint can't be used: another service serves
    // it, the folder is missing, the path is too long. A socket file that a dead service left behind is replaced.
    Listener(const std::string& endpoint, const ListenOptions& options);
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    // Waits for the next connection; null once stop() was called.
    std::unique_ptr<Channel> accept();

    // Ends accept(), from any thread, also one that comes later.
    void stop();

private:
    struct Socket;
    std::unique_ptr<Socket> socket_;
};

} // namespace bridge
