// SPDX-License-Identifier: MIT
#include "gateway_posix.h"

#include <arpa/inet.h>
#include <net/if.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <thread>

namespace {

constexpr const char* charonConf = R"(charon-systemd {
  load = random nonce drbg openssl aes gcm ccm ctr chapoly sha1 sha2 hmac kdf mgf1 gmp curve25519 pem pkcs1 pkcs8 x509 pubkey constraints revocation vici kernel-libipsec kernel-netlink socket-default
  journal { default = -1 }
  filelog { stderr { default = 1 } }
  plugins {
    vici { socket = "unix://FOLDER/gate" }
    socket-default { fwmark = 7 }
    kernel-netlink { fwmark = !7 }
    kernel-libipsec { allow_peer_ts = yes }
  }
}
)";

// Sees the frames of one device.
int frameSocketOf(const char* device) {
    const int made = frameSocket(SOCK_NONBLOCK);
    sockaddr_ll where{};
    where.sll_family = AF_PACKET;
    where.sll_protocol = htons(ETH_P_ALL);
    where.sll_ifindex = static_cast<int>(::if_nametoindex(device));
    checked(::bind(made, reinterpret_cast<const sockaddr*>(&where), sizeof where), "frames");
    return made;
}

unsigned number(const unsigned char* at) { return static_cast<unsigned>(at[0] << 8 | at[1]); }

// A packet of IP: what it is, and whether it is IKE, ESP in UDP, or neighbour discovery.
struct Packet {
    explicit Packet(const unsigned char* bytes) {
        const bool isIPv6 = bytes[0] >> 4 == 6;
        const unsigned protocol = bytes[isIPv6 ? 6 : 9];
        const unsigned char* const transport = bytes + (isIPv6 ? 40 : (bytes[0] & 15) * 4);
        std::array<char, INET6_ADDRSTRLEN> address{};
        ::inet_ntop(isIPv6 ? AF_INET6 : AF_INET, bytes + (isIPv6 ? 24 : 16), address.data(), address.size());
        text = std::to_string(protocol) + " " + address.data();
        if (protocol == IPPROTO_UDP || protocol == IPPROTO_TCP) text += ":" + std::to_string(number(transport + 2));
        const auto uses = [&](unsigned port) { return number(transport) == port || number(transport + 2) == port; };
        const bool isUdp = protocol == IPPROTO_UDP;
        const unsigned char* const data = transport + 8;
        isIke = isUdp && (uses(500) || (uses(4500) && (data[0] | data[1] | data[2] | data[3]) == 0));
        isEsp = isUdp && uses(4500) && !isIke;
        const bool isMulticast = isIPv6 && bytes[24] == 0xFF;                   // routers, neighbours, groups
        const bool isError = (protocol == IPPROTO_ICMP && transport[0] == 3) || // a port without a daemon
                             (protocol == IPPROTO_ICMPV6 && transport[0] == 1);
        const bool isToHost = text.find(" 192.168.8.") != text.npos || text.find(" fd78:") != text.npos;
        isControl = (isError && isToHost) || isMulticast || (protocol == IPPROTO_ICMPV6 && transport[0] >= 130);
    }
    std::string text;
    bool isIke = false, isEsp = false, isControl = false;
};

} // namespace

std::string Gateway::missing() {
    if (::geteuid() != 0) return "only root can make network namespaces";
    for (const char* program :
         {"/usr/sbin/charon-systemd", "/usr/sbin/swanctl", "/usr/sbin/nft", "/usr/bin/softhsm2-util"}) {
        if (::access(program, X_OK) != 0) return std::string(program) + " is not installed";
    }
    if (::access("/dev/net/tun", R_OK | W_OK) != 0) return "there is no /dev/net/tun";
    return {};
}

Gateway::Gateway(std::string folder) : folder_(std::move(folder)) {
    for (const char* sub : {"x509", "x509ca", "private"}) std::filesystem::create_directories(folder_ + "/" + sub);
    namespace_ = makeNamespace();
    ours_ = makeNamespace();
    runProgram("ip link add w1 type veth peer name w0 netns " + nameOf(namespace_));
    const auto raise = [](const std::string& device, const std::string& host) {
        runProgram("ip link set lo up");
        runProgram("ip link set " + device + " up");
        runProgram("ip addr add 192.168.8." + host + "/24 dev " + device);
        runProgram("ip addr add fd78::" + host + "/64 dev " + device + " nodad");
    };
    raise("w1", "1");
    runProgram("ip route add default via 192.168.8.2");
    runProgram("ip route add default via fd78::2");
    inside([&] {
        raise("w0", "2");
        for (const char* address : {"10.9.0.1/32", "10.8.0.1/32", "fd99::1/128"}) {
            runProgram(std::string("ip addr add ") + address + " dev lo");
        }
        wire_ = frameSocketOf("w0");
    });
}

Gateway::~Gateway() {
    charon_.reset();
    for (const int each : {wire_, namespace_, ours_}) ::close(each);
}

void Gateway::inside(const std::function<void()>& work) const {
    const Inside there(namespace_, ours_);
    work();
}

void Gateway::write(const std::string& name, const std::string& content) const {
    std::ofstream(folder_ + "/" + name, std::ios::binary) << content;
}

std::string Gateway::swanctlRun(const std::string& arguments) const {
    return runProgram("swanctl " + arguments + " --uri unix://" + folder_ + "/gate",
                      {{"SWANCTL_DIR", folder_}, {"STRONGSWAN_CONF", folder_ + "/strongswan.conf"}});
}

void Gateway::start() {
    std::string conf = charonConf;
    conf.replace(conf.find("FOLDER"), 6, folder_);
    write("strongswan.conf", conf);
    platform::ChildOptions options;
    options.arguments = {"/usr/sbin/charon-systemd"};
    options.environment["STRONGSWAN_CONF"] = folder_ + "/strongswan.conf";
    inside([&] { charon_ = std::make_unique<platform::ChildProcess>(options); });
}

void Gateway::configure(const std::string& swanctl) {
    if (!charon_) start();
    write("swanctl.conf", swanctl);
    for (unsigned tries = 0;; ++tries) {
        try {
            swanctlRun("--load-all --clear --noprompt --file " + folder_ + "/swanctl.conf");
            return;
        } catch (const std::runtime_error&) {
            if (tries == 100) throw;
            std::this_thread::sleep_for(std::chrono::milliseconds(100)); // it is still starting
        }
    }
}

void Gateway::kill() {
    charon_->kill();
    charon_->wait(std::chrono::seconds(10));
    charon_.reset();
}

std::string Gateway::log() const { return charon_ ? charon_->errorSoFar() : std::string(); }

Gateway::Seen Gateway::seen() const {
    Seen result;
    std::array<unsigned char, 4096> frame{};
    for (;;) {
        sockaddr_ll where{};
        socklen_t size = sizeof where;
        const ssize_t count =
            ::recvfrom(wire_, frame.data(), frame.size(), 0, reinterpret_cast<sockaddr*>(&where), &size);
        if (count < 0) break;
        if (where.sll_protocol != htons(ETH_P_IP) && where.sll_protocol != htons(ETH_P_IPV6)) continue;
        const Packet packet(frame.data());
        if (packet.isEsp) ++result.encrypted;
        if (packet.isEsp || packet.isIke || packet.isControl) continue;
        (where.sll_pkttype == PACKET_OUTGOING ? result.answers : result.plain).push_back(packet.text);
    }
    tpacket_stats statistics{};
    socklen_t size = sizeof statistics;
    checked(::getsockopt(wire_, SOL_PACKET, PACKET_STATISTICS, &statistics, &size), "frames");
    result.missed = statistics.tp_drops;
    return result;
}
