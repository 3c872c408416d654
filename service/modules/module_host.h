// SPDX-License-Identifier: MIT
//
// A PKCS#11 module as the service uses it: a process of its own (host_process.h), started, watched, and started again
// when it crashes or hangs. Only the tokens of that module notice.
//
//   ModuleHost::Turn turn = host.take(host.usual());
//   const auto found = turn.ask<HostFound>(HostCommand::find, name, queries);
//
// Commands take turns. Who wants one waits for those of others, but not longer than he is willing to; a command that
// makes no progress costs the module its process. No lock is held while a command runs. Any thread may call everything.
#pragma once

#include <service/base/refused.h>
#include <service/modules/host_protocol.h>

#include <platform/bridge/channel_child.h>
#include <platform/bridge/frame.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace panelkitd {

struct ModuleLimits {
    using milliseconds = std::chrono::milliseconds;

    milliseconds start{10'000};     // to load the module and to list its tokens
    milliseconds silence{20'000};   // in one function of the module
    milliseconds making{300'000};   // in one that makes a key, or erases a token
    milliseconds longest{900'000};  // for a command as a whole
    milliseconds turn{20'000};      // to wait for commands of others
    milliseconds firstPause{1'000}; // before a process that was lost is started again
    milliseconds longestPause{60'000};
};

// How long somebody bears with a module.
struct HostPatience {
    std::chrono::milliseconds turn;    // with commands of others
    std::chrono::milliseconds silence; // with a module that makes no progress
};

class ModuleHost {
    struct Running;

public:
    struct Settings {
        std::string name;                               // the provider's, for texts
        std::string path;                               // of the module: checked, and without links
        std::map<std::string, std::string> environment; // of the process
        ModuleLimits limits;
    };

    explicit ModuleHost(Settings settings);
    ~ModuleHost(); // ends the process, at once if need be
    ModuleHost(const ModuleHost&) = delete;
    ModuleHost& operator=(const ModuleHost&) = delete;

    // Starts the process, in place of one that runs, and tries out what every listing asks of the module. Throws
    // RefusedError (moduleUnfit) when that fails.
    void start();

    // Ends the process, in good order when it is free to. Commands under way are refused.
    void stop();

    // The same at once, whatever it is doing.
    void kill();

    // To be called now and then, by one thread: ends a process that hangs though nobody waits for it any more, and
    // starts one again that was lost, when its pause is over. Returns at once: the start has a thread of its own. What
    // goes wrong in it is logged and costs another pause.
    void lookAfter();

    bool isRunning() const;
    ModuleFacts facts() const; // as it said when it was last started
    // Changes with each process: log-ins and numbers of objects are good for one of them.
    std::uint64_t incarnation() const;
    // Why commands are refused now; nothing when they are not.
    std::optional<bridge::Remark> problem() const;

    HostPatience usual() const { return {settings_.limits.turn, settings_.limits.longest}; }
    // For listings, which go on without the tokens of a module that does not answer. One that has failed lately is
    // given less time.
    HostPatience forListing() const;

    // The right to give commands to the process, for one after the other that belong together.
    class Turn {
    public:
        ~Turn();
        Turn(Turn&& other) noexcept = default;
        Turn& operator=(Turn&&) = delete;

        // Gives a command and returns its reply. Throws RefusedError: what the module refuses, with its reason;
        // moduleFailed when the process is lost; moduleBusy when patience ends before, and then the reply is ignored.
        template <class Reply, class... Fields>
        Reply ask(HostCommand command, const Fields&... fields) {
            std::string bytes = exchange(command, fields...);
            const platform::WipeOnExit wiped(bytes);
            return host_->decoded<Reply>(*process_, bytes);
        }
        template <class... Fields>
        void tell(HostCommand command, const Fields&... fields) {
            std::string bytes = exchange(command, fields...);
            platform::wipe(bytes);
        }

        std::uint64_t incarnation() const { return incarnation_; }

    private:
        friend class ModuleHost;
        struct GiveBack {
            void operator()(ModuleHost* host) const { host->giveBack(); }
        };
        Turn(ModuleHost& host, std::shared_ptr<Running> process, std::chrono::milliseconds silence,
             std::uint64_t incarnation)
            : host_(&host), process_(std::move(process)), silence_(silence), incarnation_(incarnation) {}

        template <class... Fields>
        std::string exchange(HostCommand command, const Fields&... fields) {
            std::string request;
            request.reserve(roomForSecrets);
            const platform::WipeOnExit wiped(request);
            CommandStreamOut(request).append(fields...);
            return host_->exchange(*process_, command, silence_, request);
        }
        // What holds PINs and keys fits in, so that no copies of them are left behind by growing.
        static constexpr std::size_t roomForSecrets = std::size_t{64} << 10;

        std::unique_ptr<ModuleHost, GiveBack> host_;
        std::shared_ptr<Running> process_;
        std::chrono::milliseconds silence_;
        std::uint64_t incarnation_;
    };

    // Waits for the others' commands. Throws RefusedError: moduleBusy when that takes too long, moduleFailed when no
    // process runs.
    Turn take(HostPatience patience);

private:
    using Clock = std::chrono::steady_clock;

    // A command that the process works on.
    struct Asked {
        HostCommand command;
        std::uint32_t tag;
        Clock::time_point since;
        std::chrono::milliseconds limit; // without a sign of life
    };

    // The process and its channel, while there is one. Used by who has the turn, but for `lastSign`.
    struct Running {
        explicit Running(const Settings& settings);
        bridge::ChannelChild child;
        bridge::FrameReader reader{child.channel()};
        std::uint32_t lastTag = 0;
        std::optional<Asked> asked;
        std::atomic<Clock::time_point> lastSign{Clock::now()}; // of life
    };

    // What ends a process: for the log, and for who has asked something of it.
    struct Lost {
        std::string how;
        bridge::Remark why;
    };

    struct Answer {
        bool refused = false;
        std::string body;
        std::vector<bridge::Remark> remarks;
    };

    template <class Reply>
    Reply decoded(Running& process, const std::string& bytes) {
        try {
            return decodedOrLost<Reply>(bytes);
        } catch (const Lost& lost) {
            lose(process, lost);
        }
    }
    template <class Reply>
    Reply decodedOrLost(const std::string& bytes) const {
        Reply reply;
        try {
            CommandStreamIn(bytes, CommandStreamIn::Counts::mustFit) >> reply;
        } catch (const char*) { // the stream's error
            throw nonsense();
        }
        return reply;
    }

    class Waiting;

    void awaitTurn(std::unique_lock<std::mutex>& lock, HostPatience patience);
    void giveBack();
    std::string exchange(Running& process, HostCommand command, std::chrono::milliseconds silence,
                         const std::string& request);
    std::string exchangeOrLost(Running& process, HostCommand command, std::chrono::milliseconds limit,
                               std::chrono::milliseconds silence, const std::string& request);
    void settle(Running& process, std::chrono::milliseconds silence);
    Answer awaitAnswer(Running& process, std::chrono::milliseconds silence);
    bool receive(Running& process, bridge::Deadline until, Answer& answer);
    ModuleFacts tryOut(Running& process);
    std::shared_ptr<Running> newProcess();
    [[noreturn]] void refuseStart(const Remarks& why);
    void startProcess();
    void setWanted(bool wanted);
    void endIfHung();
    bool mayRevive();
    void revive();
    std::chrono::milliseconds limitOf(HostCommand command) const;

    [[noreturn]] void lose(Running& process, const Lost& lost);
    bool forget(const Running& process, const std::string& how);
    Lost hung(HostCommand command) const;
    Lost gone(const Running& process) const;
    Lost nonsense() const;
    RefusedError busy() const;
    bridge::Remark notRunning() const; // mutex_ is held

    const Settings settings_;

    std::mutex starting_;      // one start at a time
    std::thread reviver_;      // of lookAfter()
    mutable std::mutex mutex_; // guards what follows
    std::condition_variable changed_;
    bool taken_ = false;              // the turn
    std::deque<const void*> waiting_; // for it, in their order
    std::shared_ptr<Running> running_;
    std::shared_ptr<Running> triedOut_; // before it runs
    ModuleFacts facts_;
    std::uint64_t incarnation_ = 0;
    bool wanted_ = false;   // started, and not stopped since
    bool reviving_ = false; // reviver_ is at work
    unsigned failures_ = 0; // in a row
    Clock::time_point notBefore_{};
    Clock::time_point lastFailure_{};
};

} // namespace panelkitd
