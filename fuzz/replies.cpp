// SPDX-License-Identifier: MIT
//
// Replies of a service that lies, to the calls of every controller. The first byte chooses the call, the second how it
// is answered; the rest is the reply, or a remarks frame before a refusal. Each call returns, or throws what it
// documents.
#include <bench/attack/calls.h>
#include <fuzz/fake_service.h>
#include <fuzz/mutator.h>

#include <panelkit/bridge/sessions_pool.h>
#include <panelkit/certs/cert_imports.h>
#include <panelkit/certs/cert_records.h>
#include <panelkit/lsp/lsp_records.h>
#include <panelkit/monitor/monitor_records.h>
#include <panelkit/monitor/tunnel_records.h>
#include <panelkit/net/interface_records.h>
#include <panelkit/tokens/token_records.h>
#include <platform/bridge/command_sender.h>
#include <platform/system/guarded.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using panelkit::Command;

const std::vector<attack::ControllerCall>& calls() {
    static const std::vector<attack::ControllerCall> all = attack::allCalls();
    return all;
}

bool write(bridge::Channel& channel, bridge::FrameHeader header, bridge::FrameKind kind, std::string_view body) {
    header.kind = kind;
    return writeFrame(channel, header, body, {10'000}) == bridge::IoStatus::done;
}

// What all requests are answered with.
struct Reaction {
    unsigned how = 0;
    std::string body;

    bool operator()(bridge::Channel& channel, const bridge::FrameHeader& asked) const {
        using bridge::FrameKind;
        const std::string refusal = encode(bridge::Refusal{bridge::RefusalReason::byModule, 7, "no"});
        switch (how % 16) {
        case 0:
            return write(channel, asked, FrameKind::remarks, body) &&
                   write(channel, asked, FrameKind::refused, refusal);
        case 1: return write(channel, asked, FrameKind::refused, body);
        case 2: return write(channel, asked, FrameKind::remarks, body) && write(channel, asked, FrameKind::reply, "\1");
        default: return write(channel, asked, FrameKind::reply, body);
        }
    }
};
// Replaced for each input. A call may have returned before the service has sent everything.
platform::Guarded<Reaction> reaction;

void serve(bridge::Channel& channel) {
    bridge::FrameReader reader(channel);
    bridge::FrameHeader asked;
    std::string body;
    if (!fuzz::welcome(channel, reader)) return;
    while (fuzz::readFrame(reader, asked, body)) {
        const Reaction now = *reaction.lock();
        if (!now(channel, asked)) return;
    }
}

constexpr auto& changes = fuzz::rowChanges<panelkit::ReplyOf>;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::FakeService service(serve);
    if (size < 2) return 0;
    CommandSender::Instance().SetEndpoint(service.endpoint());
    *reaction.lock() = {data[1], std::string(data + 2, data + size)};
    try {
        calls()[data[0] % calls().size()].call();
    } catch (const char* text) {
        if (std::strcmp(text, "CommandStreamError") != 0) std::abort();
    }
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most, unsigned seed) {
    fuzz::Mutator mutator(seed);
    std::string bytes = fuzz::text(data, size);
    bytes.resize(std::max<std::size_t>(bytes.size(), 2));
    if (mutator.chance(32)) bytes[0] = static_cast<char>(mutator.below(calls().size()));
    if (mutator.chance(16)) bytes[1] = static_cast<char>(mutator.below(16));
    const Command command = calls()[static_cast<unsigned char>(bytes[0]) % calls().size()].command;
    const std::string_view body = std::string_view(bytes).substr(2);
    const bool isReply = static_cast<unsigned char>(bytes[1]) % 16 > 2;
    const std::string changed =
        isReply ? changes[static_cast<std::size_t>(command)](mutator, body) : mutator.damaged(std::string(body));
    return fuzz::store(bytes.substr(0, 2) + changed, data, most);
}
