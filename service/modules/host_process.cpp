// SPDX-License-Identifier: MIT
#include <service/modules/host_process.h>

#include <service/base/refused.h>
#include <service/modules/hosted_module.h>

#include <platform/bridge/channel_child.h>
#include <platform/bridge/frame.h>
#include <platform/bridge/messages.h>
#include <platform/system/child_process.h>
#include <platform/system/guarded.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <memory>
#include <thread>

namespace panelkitd {

namespace {

using bridge::FrameHeader;
using bridge::FrameKind;
using bridge::FrameStatus;

constexpr int parentGone = 0;
constexpr bridge::Patience patience{}; // the service decides what takes too long

// How often the service gets a message that the module makes progress.
constexpr auto tick = std::chrono::seconds(1);

class Host {
public:
    Host(const std::string& path, bridge::Channel& channel) : path_(path), channel_(channel), reader_(channel) {}

    void serve() {
        while (serveOne()) {}
    }

    // Runs on a separate thread. Tells the service that a command is still being carried out, as long as the module
    // returns from its functions. When the module hangs, these messages stop, and the service notices that.
    void tellProgress();

private:
    bool serveOne();
    std::string answer(const FrameHeader& request, const std::string& payload);
    std::string end();
    bool send(const FrameHeader& request, FrameKind kind, std::string_view body);
    bool refuse(const FrameHeader& request, bridge::RefusalReason why, const RefusedError& refused);
    void begin(const FrameHeader& request);
    std::uint64_t calls() const {
        const HostedModule* const module = module_;
        return module ? module->calls() : 0;
    }

    const std::string path_;
    bridge::Channel& channel_;
    bridge::FrameReader reader_;
    std::unique_ptr<HostedModule> owned_; // null until the service asks for it
    std::atomic<const HostedModule*> module_{nullptr};

    // The command that is being carried out. Whoever writes to the channel holds it, so that frames stay whole.
    struct Current {
        bool busy = false;
        bool unwatched = true; // the progress thread waits for a command; else it looks again at its next tick
        std::uint32_t tag = 0;
    };
    platform::Guarded<Current> current_;
    std::condition_variable changed_;
};

bool Host::send(const FrameHeader& request, FrameKind kind, std::string_view body) {
    const auto current = current_.lock();
    current->busy = kind == FrameKind::remarks; // one more frame follows
    FrameHeader header = request;
    header.kind = kind;
    return writeFrame(channel_, header, body, patience) == bridge::IoStatus::done;
}

bool Host::refuse(const FrameHeader& request, bridge::RefusalReason why, const RefusedError& refused) {
    const auto detail = static_cast<std::uint32_t>(refused.reason);
    return send(request, FrameKind::remarks, encode(bridge::fitted(refused.remarks))) &&
           send(request, FrameKind::refused, encode(bridge::Refusal{why, detail, {}}));
}

std::string Host::answer(const FrameHeader& request, const std::string& payload) {
    if (static_cast<HostCommand>(request.command) == HostCommand::end) return end();
    if (!owned_) {
        owned_ = std::make_unique<HostedModule>(path_);
        module_ = owned_.get();
    }
    CommandStreamIn in(payload, CommandStreamIn::Counts::mustFit);
    return owned_->handle(static_cast<HostCommand>(request.command), in);
}

// Ends log-ins and sessions and finalises the module. The process itself ends when the service closes the channel.
std::string Host::end() {
    module_ = nullptr;
    owned_.reset();
    return {};
}

// Wakes the progress thread only when it waits for a command. Most commands take less than a switch of threads does.
void Host::begin(const FrameHeader& request) {
    const auto current = current_.lock();
    current->busy = true;
    current->tag = request.tag;
    if (current->unwatched) changed_.notify_all();
}

bool Host::serveOne() {
    FrameHeader request;
    std::string payload;
    const platform::WipeOnExit wiped(payload);
    if (reader_.readHeader(request, bridge::never, patience) != FrameStatus::done) return false;
    if (reader_.readBody(request, payload, bridge::defaultFrameLimit, patience) != FrameStatus::done) return false;
    const bool secret = carriesSecrets(static_cast<HostCommand>(request.command));
    const platform::LockedPages locked(secret ? payload : std::string_view());
    begin(request);
    using bridge::RefusalReason;
    try {
        std::string reply = answer(request, payload);
        const platform::WipeOnExit wipedReply(reply); // it may hold a private key that its token gives out
        return send(request, FrameKind::reply, reply);
    } catch (const RefusedError& refused) {
        return refuse(request, RefusalReason::byModule, refused);
    } catch (const char*) { // the stream's error
        return refuse(request, RefusalReason::malformed,
                      RefusedError(vocabulary::Refused::badInput, "the command for the module ends early"));
    } catch (const std::exception& error) {
        return refuse(request, RefusalReason::byModule,
                      RefusedError(vocabulary::Refused::moduleUnfit, explained(error)));
    }
}

void Host::tellProgress() {
    auto current = current_.lock();
    for (;;) {
        current->unwatched = true;
        current.wait(changed_, [&] { return current->busy; });
        current->unwatched = false;
        std::uint64_t before = calls();
        while (current->busy) {
            current.waitUntil(changed_, std::chrono::steady_clock::now() + tick);
            const std::uint64_t now = calls();
            if (!current->busy || now == before) continue;
            before = now;
            writeFrame(channel_, {.kind = FrameKind::working, .tag = current->tag}, {}, patience);
        }
    }
}

} // namespace

std::map<std::string, std::string> hostEnvironment() {
    std::map<std::string, std::string> variables = platform::environment();
    for (const char* name : {"NOTIFY_SOCKET", "JOURNAL_STREAM", "CREDENTIALS_DIRECTORY", "LISTEN_FDS", "LISTEN_PID",
                             "LISTEN_FDNAMES", "WATCHDOG_USEC", "WATCHDOG_PID", "INVOCATION_ID"}) {
        variables.erase(name);
    }
    return variables;
}

int hostModule(const std::string& path, const std::string& channel) {
    dropPrivileges();
    bridge::ChannelParent parent(channel);
    // The module may hang in any thread. This process must still end when the service ends.
    std::thread([&parent] {
        parent.awaitEnd();
        std::_Exit(parentGone);
    }).detach();
    Host host(path, parent.channel());
    std::thread([&host] { host.tellProgress(); }).detach();
    host.serve();
    std::_Exit(parentGone); // without the module's destructors
}

} // namespace panelkitd
