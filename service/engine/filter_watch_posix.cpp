// SPDX-License-Identifier: MIT
//
// The kernel tells over netlink what changes in its tables.
#include <service/engine/filter_watch.h>

#include <service/base/log.h>

#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netlink.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <span>
#include <utility>

namespace panelkitd {

namespace {

constexpr int wakeUp = 500; // milliseconds, to see that we are to end

int openSocket() {
    const int made = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_NETFILTER);
    if (made < 0) return -1;
    sockaddr_nl where{};
    where.nl_family = AF_NETLINK;
    const int group = NFNLGRP_NFTABLES;
    if (::bind(made, reinterpret_cast<const sockaddr*>(&where), sizeof where) == 0 &&
        ::setsockopt(made, SOL_NETLINK, NETLINK_ADD_MEMBERSHIP, &group, sizeof group) == 0) {
        return made;
    }
    ::close(made);
    return -1;
}

// Whether one of the messages says that a table was removed.
bool tellsOfRemoval(std::span<const char> messages) {
    constexpr int removal = (NFNL_SUBSYS_NFTABLES << 8) | NFT_MSG_DELTABLE;
    while (messages.size() >= sizeof(nlmsghdr)) {
        nlmsghdr head{};
        std::memcpy(&head, messages.data(), sizeof head);
        if (head.nlmsg_type == removal) return true;
        const std::size_t length = NLMSG_ALIGN(std::size_t{head.nlmsg_len});
        if (length < sizeof head || length > messages.size()) return false;
        messages = messages.subspan(length);
    }
    return false;
}

// Reads all that is there. Messages that were lost may have told of a removal.
bool heardOfRemoval(int socket) {
    std::array<char, 1U << 16> buffer{};
    bool heard = false;
    for (;;) {
        const ssize_t got = ::recv(socket, buffer.data(), buffer.size(), 0);
        if (got < 0 && errno == ENOBUFS) {
            heard = true;
            continue;
        }
        if (got <= 0) return heard;
        heard = tellsOfRemoval(std::span(buffer).first(static_cast<std::size_t>(got))) || heard;
    }
}

} // namespace

FilterWatch::FilterWatch(std::function<void()> removed) : removed_(std::move(removed)), socket_(openSocket()) {
    if (socket_ < 0) {
        logDetail(std::string("the kernel does not tell of changes of the packet filter: ") + std::strerror(errno));
        return;
    }
    thread_ = std::thread([this] { listen(); });
}

FilterWatch::~FilterWatch() {
    stopping_ = true;
    if (thread_.joinable()) thread_.join();
    if (socket_ >= 0) ::close(socket_);
}

void FilterWatch::listen() const {
    while (!stopping_) {
        pollfd ready{socket_, POLLIN, 0};
        if (::poll(&ready, 1, wakeUp) > 0 && heardOfRemoval(socket_)) removed_();
    }
}

} // namespace panelkitd
