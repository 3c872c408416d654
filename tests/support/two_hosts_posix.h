// SPDX-License-Identifier: MIT
//
// Two hosts in network namespaces of this process, with a cable between them: ours, in which the thread that makes the
// object is from then on, and a peer's. The peer's end is where packets are seen. Needs root. They end with the
// process.
//
//   ours                                        the peer
//   v1: 192.168.7.1, fd77::1  ---------------   v0: 192.168.7.2, fd77::2, and everything beyond
//   ipsec0: a second cable    ---------------   t0
#pragma once

#include <netinet/in.h>

#include <string>
#include <vector>

class TwoHosts {
public:
    // Why they can't be made on this machine; empty if they can.
    static std::string missing();

    TwoHosts();
    ~TwoHosts();
    TwoHosts(const TwoHosts&) = delete;
    TwoHosts& operator=(const TwoHosts&) = delete;

    // Run `ip` with these arguments.
    void ip(const std::string& arguments) const;
    void ipAtPeer(const std::string& arguments) const;

    // Makes a socket of this type, SOCK_DGRAM or SOCK_STREAM, bound to an address and a port.
    int socketHere(int type, const std::string& address, int port) const;
    int socketAtPeer(int type, const std::string& address, int port) const;

    // Returns what has arrived at the peer since the last call, when all that was sent before has arrived there and
    // here: "v0 udp 10.9.0.5:443". Frames that are not IP are left out.
    std::vector<std::string> arrived();

private:
    int here_ = -1, peer_ = -1; // sockets that see all frames
    int peerNamespace_ = -1, ourNamespace_ = -1;
};

sockaddr_storage socketAddress(const std::string& address, int port);
socklen_t sizeOf(const sockaddr_storage& address);
