// SPDX-License-Identifier: MIT
//
// Requests of a front end to the whole service, with a token that is logged in to: each is answered or refused. The
// first byte chooses the account, a user or an administrator; then come up to eight requests, each with the number of
// its command (1 byte) and the length of its payload (4 bytes). So an input can parse a file and import from it.
#include <fuzz/mutator.h>
#include <service/daemon.h>
#include <service/modules/host_process.h>
#include <tests/support/running_service.h>

#include <panelkit/certs/cert_imports.h>
#include <panelkit/monitor/monitor_records.h>
#include <panelkit/monitor/tunnel_records.h>
#include <panelkit/net/interface_records.h>
#include <testing/token_module_control.h>
#include <vocabulary/tokens.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

namespace {

using namespace panelkitd;
using panelkit::Command;

constexpr std::size_t mostRequests = 8;

struct Sent {
    std::uint8_t command;
    std::string payload;
};

// The last payload may be cut off.
std::vector<Sent> requestsIn(std::string_view bytes) {
    std::vector<Sent> all;
    while (bytes.size() >= 5 && all.size() < mostRequests) {
        std::uint32_t length = 0;
        CommandStreamIn in(bytes.data() + 1, 4);
        in >> length;
        const auto command =
            static_cast<std::uint8_t>(static_cast<unsigned char>(bytes[0]) % panelkit::commandTable.size());
        all.push_back({command, std::string(bytes.substr(5, length))});
        bytes.remove_prefix(std::min<std::size_t>(bytes.size(), 5 + std::size_t{length}));
    }
    return all;
}

void append(std::string& bytes, const Sent& sent) {
    bytes += static_cast<char>(sent.command);
    CommandStreamOut(bytes).append(sent.payload);
}

// These make RSA keys, or start the processes of modules.
bool isSlow(Command command) {
    return command == Command::TokensReloadAll || command == Command::GenerateKey ||
           command == Command::MakeCertRequest || command == Command::MakeCertRequestWithPin ||
           command == Command::ProviderLoad || command == Command::ProviderUnload;
}

// The service in this process. A new token is made now and then, since inputs fill and lock it.
class Service {
public:
    Service() {
        control_.enter();
        renewToken();
        options_.state = folder_.file("state");
        options_.usersGroup = "nobody has this group";
        options_.providers.allowed = {PANELKIT_TEST_TOKEN_FILE};
        options_.logLevel = LogLevel::disabled;
        daemon_.emplace(options_);
        start();
    }

    void run(bool byAdministrator, const std::vector<Sent>& requests) {
        if (++inputs_ % 200 == 0) start();
        bridge::server::Session session;
        session.number = inputs_;
        session.peer = byAdministrator ? bridge::self() : bridge::Peer{"65534", {"65534"}, false};
        for (const Sent& sent : requests) {
            const auto command = static_cast<Command>(sent.command);
            if (!isSlow(command) || ++slow_ % 16 == 1) send(session, command, sent.payload);
        }
        daemon_->commands().ended(session);
    }

    static constexpr const char* tokenName = "office";

private:
    void renewToken() {
        control_.createToken(tokenName, {.label = "Office", .soPin = "so-secret", .userPin = "user-1"});
        control_.insert("reader", tokenName);
    }

    // Everything that an input can have changed for all that follow.
    void start() {
        renewToken();
        bridge::server::Session session;
        session.peer = bridge::self();
        PKCS11::ProviderInfo provider;
        provider.*vocabulary::provider::name = "test";
        provider.*vocabulary::provider::path = PANELKIT_TEST_TOKEN_FILE;
        std::string payload;
        CommandStreamOut(payload) << provider;
        send(session, Command::ProviderLoad, payload);
        const auto tokens = std::get<std::string>(send(session, Command::EnumProviderTokens, "").content);
        std::vector<PKCS11::TokenInfo> found;
        panelkit::readReply<Command::EnumProviderTokens>(tokens, found);
        for (const PKCS11::TokenInfo& token : found) {
            payload.clear();
            CommandStreamOut(payload) << token << std::string("user-1") << false;
            send(session, Command::TokenLogin, payload);
        }
        setLogLevel(LogLevel::disabled);
    }

    bridge::server::Answer send(bridge::server::Session& session, Command command, std::string payload) {
        const panelkit::CommandRow& row = panelkit::commandRow(command);
        bridge::server::Answer answer = daemon_->commands().handle(session, {row.module, row.code, payload});
        if (const auto* refusal = std::get_if<bridge::Refusal>(&answer.content)) {
            if (refusal->text.empty()) std::abort();
        }
        return answer;
    }

    panelkit::testing::TokenModuleControl control_;
    TemporaryFolder folder_;
    Options options_;
    std::optional<Daemon> daemon_;
    std::uint64_t inputs_ = 0, slow_ = 0;
};

// ---- mutation

constexpr auto& changes = fuzz::rowChanges<panelkit::RequestOf>;

// A request of some command, for the token if it begins with one.
Sent freshRequest(fuzz::Mutator& mutator, const std::vector<Sent>& others) {
    const auto command = static_cast<std::uint8_t>(mutator.below(changes.size()));
    const std::string& like = others.empty() ? std::string() : others[mutator.below(others.size())].payload;
    return {command, changes[command](mutator, like)};
}

void changeOne(fuzz::Mutator& mutator, std::vector<Sent>& requests) {
    const std::size_t place = mutator.below(requests.size());
    if (requests.empty() || (mutator.chance(8) && requests.size() < mostRequests)) {
        requests.push_back(freshRequest(mutator, requests));
    } else if (mutator.chance(16)) {
        requests.erase(requests.begin() + static_cast<std::ptrdiff_t>(place));
    } else if (mutator.chance(16)) {
        requests[place].payload = mutator.damaged(requests[place].payload);
    } else {
        Sent& sent = requests[place];
        sent.payload = changes[sent.command](mutator, sent.payload);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    if (*argc == 5 && std::string((*argv)[1]) == hostOption) std::_Exit(hostModule((*argv)[2], (*argv)[4]));
    setLogLevel(LogLevel::disabled);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static auto* const service = new Service; // with its threads until the process ends
    if (size == 0) return 0;
    service->run(data[0] % 4 != 0, requestsIn({reinterpret_cast<const char*>(data) + 1, size - 1}));
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most, unsigned seed) {
    fuzz::Mutator mutator(seed);
    std::string bytes = fuzz::text(data, size);
    if (bytes.empty()) bytes.assign(1, '\1');
    if (mutator.chance(64)) bytes[0] = static_cast<char>(bytes[0] + 1);
    std::vector<Sent> requests = requestsIn(std::string_view(bytes).substr(1));
    changeOne(mutator, requests);
    bytes.resize(1);
    for (const Sent& sent : requests) append(bytes, sent);
    return fuzz::store(bytes, data, most);
}
