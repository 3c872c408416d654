// SPDX-License-Identifier: MIT
//
// The packet filter of the kernel, as far as a policy needs it: one nftables table of our own, `inet panelkit`, that is
// replaced as a whole. The table stays when this process ends, however it ends. docs/engine.md says what passes.
#pragma once

#include <service/engine/engine.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

// Where packets are encrypted.
enum class EspPlace : unsigned char {
    kernel,    // the filter recognises packets that a security association of the kernel will encrypt or has decrypted
    userSpace, // the daemon encrypts what is sent to a device of its own
};

struct FilterOptions {
    // Of what the daemon sends itself, and of its sockets: IKE, ESP in UDP, and with ESP in the kernel the encrypted
    // packets too (children's set_mark_out). Such packets pass, and packets to such sockets. Not 0.
    std::uint32_t mark = 0x70616e65;
    EspPlace esp = EspPlace::userSpace;
    std::string device = "ipsec0"; // with ESP in user space
    std::string program = "/usr/sbin/nft";
    std::chrono::milliseconds countsAge{1000}; // counts that are not older are returned again: reading them costs
};

// The mark of packets that are not to go through a tunnel although its network has their destination. It differs from
// that of the daemon in one bit, so that one rule for routes can exempt both. Such packets are filtered as all others.
constexpr std::uint32_t markBeside(std::uint32_t daemonsMark) { return daemonsMark ^ 1U; }

// Packets since the filter was replaced.
struct SectionCount {
    std::uint64_t passed = 0; // of a section that protects: through the tunnel
    std::uint64_t dropped = 0;

    bool operator==(const SectionCount&) const = default;
};

// What there is of the table that was put there.
enum class FilterState : unsigned char {
    asPut,
    changed, // by another program
    gone,    // or it can't be read
};

// Any thread may call any function; each takes a few seconds at most.
class PacketFilter {
public:
    virtual ~PacketFilter() = default;

    // Puts the rules of the policy in place of those that are there, also those of a former process, in one step: a
    // packet meets either all the old rules or all the new ones. Throws EngineError; the old rules are then in place.
    virtual void replace(const EnginePolicy& policy) = 0;

    // Returns the counts of the sections of the policy in place, in their order; nullopt when the table is not there
    // any more or can't be read: then nothing is known, and perhaps nothing is filtered.
    virtual std::optional<std::vector<SectionCount>> counts() const = 0;

    // At this moment. Compares all rules.
    virtual FilterState state() const = 0;

    // Removes the table: everything passes, in clear. Nothing happens when there is none. Throws EngineError.
    virtual void release() = 0;
};

// Throws EngineError where there is no nftables: on Windows, or when the program is not installed.
std::unique_ptr<PacketFilter> makePacketFilter(const FilterOptions& options);

} // namespace panelkitd
