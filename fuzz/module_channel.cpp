// SPDX-License-Identifier: MIT
//
// Both directions of the channel to the process of a PKCS#11 module. The first byte chooses:
//
//   0   requests of the service, to a host in this process with the test token: each is answered or refused
//   1   frames of a lying host. This program is the host, too; it sends what the service's request contains.
//   2   the same, but the bytes are the body of a well-formed reply
#include <fuzz/mutator.h>
#include <service/base/log.h>
#include <service/modules/host_process.h>
#include <service/modules/hosted_module.h>
#include <service/modules/module_host.h>

#include <platform/bridge/frame.h>
#include <testing/token_module_control.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <thread>

namespace {

using namespace panelkitd;

// ---- requests

struct Request {
    HostCommand command;
    std::string (*change)(fuzz::Mutator& mutator, std::string_view bytes);
};

template <HostCommand command, class... Fields>
constexpr Request request{command, [](fuzz::Mutator& mutator, std::string_view bytes) {
                              return mutator.changed<HostTokenName, Fields...>(bytes);
                          }};

using Numbers = std::vector<std::uint64_t>;
// Corpora name a row by its place.
constexpr std::array requests{
    request<HostCommand::token>,
    request<HostCommand::login, HostLogin>,
    request<HostCommand::logout>,
    request<HostCommand::initialize, HostInitialization>,
    request<HostCommand::changePin, HostPinChange>,
    request<HostCommand::seed, std::string>,
    request<HostCommand::mechanisms>,
    request<HostCommand::find, std::vector<HostQuery>>,
    request<HostCommand::read, std::uint64_t, Numbers, Numbers>,
    request<HostCommand::create, std::vector<HostTemplate>>,
    request<HostCommand::destroy, std::uint64_t, Numbers>,
    request<HostCommand::generate, HostGeneration>,
    request<HostCommand::sign, HostSigning>,
    request<HostCommand::tokens>,
};

void handle(HostedModule& module, HostCommand command, const std::string& bytes) {
    CommandStreamIn in(bytes, CommandStreamIn::Counts::mustFit);
    try {
        module.handle(command, in);
    } catch (const RefusedError& refused) {
        if (refused.remarks.empty()) std::abort();
    } catch (const char*) { // the stream's error
    }
}

// A new token for each input, so that an input does the same each time.
void tryRequest(std::uint8_t which, const std::string& bytes) {
    static panelkit::testing::TokenModuleControl control;
    static HostedModule* module = nullptr;
    if (!module) control.enter();
    control.createToken("office", {.label = "Office", .soPin = "so-secret", .userPin = "user-1"});
    control.insert("reader", "office");
    if (!module) module = new HostedModule(PANELKIT_TEST_TOKEN_FILE);
    const HostTokenName office{"Office", "", 0};
    handle(*module, HostCommand::login, encoded(office, HostLogin{platform::Secret("user-1"), false}));
    const HostCommand command = requests[which % requests.size()].command;
    handle(*module, command, bytes);
    handle(*module, command, bytes);
}

// ---- replies

template <class Reply>
void ask(ModuleHost& host, const std::string& wish) {
    host.take(host.usual()).ask<Reply>(HostCommand::find, wish);
}
template <class Reply>
std::string change(fuzz::Mutator& mutator, std::string_view bytes) {
    return mutator.changed<Reply>(bytes);
}

struct ReplyRow {
    void (*ask)(ModuleHost& host, const std::string& wish);
    std::string (*change)(fuzz::Mutator& mutator, std::string_view bytes);
};
constexpr std::array replies{
    ReplyRow{ask<HostFound>, change<HostFound>},
    ReplyRow{ask<HostTokens>, change<HostTokens>},
    ReplyRow{ask<HostKeyPair>, change<HostKeyPair>},
    ReplyRow{ask<std::vector<HostObject>>, change<std::vector<HostObject>>},
    ReplyRow{ask<std::vector<HostMechanism>>, change<std::vector<HostMechanism>>},
    ReplyRow{ask<HostToken>, change<HostToken>},
};

// A process is started again at once after it was lost.
void tryReply(std::uint8_t which, const std::string& wish) {
    static ModuleHost* host = nullptr;
    if (!host) host = new ModuleHost({"card", "lies", {}, {}});
    if (!host->isRunning()) host->start();
    try {
        replies[which % replies.size()].ask(*host, wish);
    } catch (const RefusedError& refused) {
        if (refused.remarks.empty()) std::abort();
    }
}

// The lying host. A wish begins with 1 for raw bytes, and with anything else for the body of a reply.
int lie(const char* channel) {
    bridge::ChannelParent parent(channel);
    bridge::FrameReader reader(parent.channel());
    bridge::FrameHeader asked;
    std::string body;
    while (reader.readHeader(asked, bridge::never, {}) == bridge::FrameStatus::done &&
           reader.readBody(asked, body, bridge::defaultFrameLimit, {}) == bridge::FrameStatus::done) {
        const std::string wish = body.size() > 4 ? body.substr(4) : std::string(); // after its length
        asked.kind = bridge::FrameKind::reply;
        if (asked.command == static_cast<std::uint32_t>(HostCommand::describe)) {
            writeFrame(parent.channel(), asked, encoded(ModuleFacts()), {});
        } else if (asked.command == static_cast<std::uint32_t>(HostCommand::tokens)) {
            writeFrame(parent.channel(), asked, encoded(HostTokens()), {});
        } else if (!wish.empty() && wish[0] == 1) {
            parent.channel().write(wish.substr(1), {}, {});
            return 0; // so that nobody waits for the rest of a frame
        } else {
            writeFrame(parent.channel(), asked, wish.empty() ? wish : wish.substr(1), {});
        }
    }
    return 0;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    if (*argc == 5 && std::string((*argv)[1]) == hostOption) std::_Exit(lie((*argv)[4]));
    setLogLevel(LogLevel::disabled);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::string bytes(data + 2, data + size);
    switch (data[0] % 3) {
    case 0: tryRequest(data[1], bytes); break;
    case 1: tryReply(data[1], "\1" + bytes); break;
    default: tryReply(data[1], "\2" + bytes); break;
    }
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most, unsigned seed) {
    fuzz::Mutator mutator(seed);
    std::string bytes = fuzz::text(data, size);
    bytes.resize(std::max<std::size_t>(bytes.size(), 2));
    // Raw frames are rare: each costs the start of a process.
    if (mutator.chance(16)) bytes[0] = static_cast<char>(mutator.chance(16) ? 1 : 2 * mutator.below(2));
    if (mutator.chance(16)) bytes[1] = static_cast<char>(mutator.below(requests.size()));
    const std::string_view body = std::string_view(bytes).substr(2);
    const auto which = static_cast<unsigned char>(bytes[1]);
    std::string changed;
    switch (static_cast<unsigned char>(bytes[0]) % 3) {
    case 0: changed = requests[which % requests.size()].change(mutator, body); break;
    case 1: changed = mutator.damaged(std::string(body)); break;
    default: changed = replies[which % replies.size()].change(mutator, body); break;
    }
    return fuzz::store(bytes.substr(0, 2) + changed, data, most);
}
