// SPDX-License-Identifier: MIT
//
// The kernel tells over netlink what changes in its tables.
#include <service/engine/filter_watch.h>

#include <service/base/log.h>
#include <service/engine/filter_rules.h>

#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netlink.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace panelkitd {

namespace {

constexpr int wakeUp = 500; // milliseconds

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

// Whether the message is about our table. Each kind of message about a table, or about something in one, begins with
// the table's family, and its attribute with the number 1 is the table's name.
bool isAboutOurs(std::span<const char> message) {
    constexpr std::size_t attributes = NLMSG_HDRLEN + NLMSG_ALIGN(sizeof(nfgenmsg));
    nlattr attribute{};
    if (message.size() < attributes + sizeof attribute) return false;
    const auto family = static_cast<std::uint8_t>(message[NLMSG_HDRLEN]);
    std::memcpy(&attribute, message.data() + attributes, sizeof attribute);
    const std::string_view name(filterTable, std::strlen(filterTable) + 1); // with the 0 at its end
    const std::span<const char> value = message.subspan(attributes + sizeof attribute);
    return family == NFPROTO_INET && attribute.nla_type == NFTA_TABLE_NAME && value.size() >= name.size() &&
           std::string_view(value.data(), name.size()) == name;
}

bool anyIsAboutOurs(std::span<const char> messages) {
    while (messages.size() >= sizeof(nlmsghdr)) {
        nlmsghdr head{};
        std::memcpy(&head, messages.data(), sizeof head);
        if (head.nlmsg_len < sizeof head || head.nlmsg_len > messages.size()) return false;
        if (isAboutOurs(messages.first(head.nlmsg_len))) return true;
        messages = messages.subspan(std::min<std::size_t>(NLMSG_ALIGN(head.nlmsg_len), messages.size()));
    }
    return false;
}

// Reads all that is there. Messages that were lost may have been about our table.
bool heardOfOurs(int socket) {
    std::array<char, 1U << 16> buffer{};
    bool heard = false;
    for (;;) {
        const ssize_t got = ::recv(socket, buffer.data(), buffer.size(), 0);
        if (got < 0 && errno == ENOBUFS) {
            heard = true;
            continue;
        }
        if (got <= 0) return heard;
        heard = anyIsAboutOurs(std::span(buffer).first(static_cast<std::size_t>(got))) || heard;
    }
}

} // namespace

FilterWatch::FilterWatch(std::function<void(bool changed)> look) : look_(std::move(look)), socket_(openSocket()) {
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
        look_(::poll(&ready, 1, wakeUp) > 0 && heardOfOurs(socket_));
    }
}

} // namespace panelkitd
