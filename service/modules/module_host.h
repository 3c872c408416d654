// SPDX-License-Identifier: MIT
//
// A PKCS#11 module as the service uses it. The module runs in a separate process (host_process.h). ModuleHost starts
// that process, watches it, and starts it again when it crashes or hangs. Only the tokens of that module are affected.
//
//   ModuleHost::Turn turn = host.take(host.usual());
//   const auto found = turn.ask<HostFound>(HostCommand::find, name, queries);
//
// One thread at a time may send commands: it holds a Turn. Other threads wait for theirs, up to a limit that they
// state. When a command makes no progress for too long, the process is killed. No lock is held while a command runs.
// Any thread may call everything except lookAfter(), which one thread calls.
#pragma once

#include <service/base/refused.h>
#include <service/modules/host_protocol.h>

#include <platform/bridge/channel_child.h>
#include <platform/bridge/frame.h>
#include <platform/system/guarded.h>

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

// How long a caller waits.
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

    // Starts the process; one that runs already is ended first. Then sends it the commands that every listing needs, to
    // see that the module works. Throws RefusedError (moduleUnfit) when that fails.
    void start();

    // Ends the process. If no command is running, the module gets the time to finalise. A command that is running is
    // refused.
    void stop();

    // Kills the process at once, even while a command is running.
    void kill();

    // Must be called regularly, by one thread. Kills a process that hangs in a command whose caller has stopped
    // waiting. Starts a process again that was lost, when the pause after the loss is over. Returns at once, because
    // the start runs on a separate thread. When the start fails, that is logged, and it is repeated after another
    // pause.
    void lookAfter();

    bool isRunning() const;
    ModuleFacts facts() const; // as it said when it was last started
    // Returns a number that changes with each start of the process. Log-ins and the numbers of objects are valid for
    // one process only.
    std::uint64_t incarnation() const;
    // Returns why commands are refused now; nullopt when they are not.
    std::optional<bridge::Remark> problem() const;

    HostPatience usual() const { return {settings_.limits.turn, settings_.limits.longest}; }
    // Returns the limits for listings. They are short, because a listing can go on without the tokens of a module that
    // does not answer, and shorter when the module has failed recently.
    HostPatience forListing() const;

    // The right to send commands to the process. While a thread holds it, no other thread's commands come between its
    // own. One thread uses it; the ModuleHost must outlive it.
    class Turn {
    public:
        ~Turn();
        Turn(Turn&& other) noexcept = default;
        Turn& operator=(Turn&&) = delete;

        // Sends a command and returns its reply. Throws RefusedError: with the module's reason when the module refuses
        // the command, with moduleFailed when the process was lost, and with moduleBusy when the module was silent for
        // longer than the caller waits. In the last case the reply is ignored when it comes.
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
            const platform::LockedPages locked(carriesSecrets(command) ? request : std::string_view());
            return host_->exchange(*process_, command, silence_, request);
        }
        // Requests with PINs and keys fit into this size. So the string does not grow, which would leave copies of them
        // in memory.
        static constexpr std::size_t roomForSecrets = std::size_t{64} << 10;

        std::unique_ptr<ModuleHost, GiveBack> host_;
        std::shared_ptr<Running> process_;
        std::chrono::milliseconds silence_;
        std::uint64_t incarnation_;
    };

    // Waits until no other thread holds a Turn, and returns one. Throws RefusedError: with moduleBusy when that takes
    // longer than `patience` allows, with moduleFailed when no process runs.
    Turn take(HostPatience patience);

private:
    using Clock = std::chrono::steady_clock;

    // A command that was sent and whose answer has not come yet.
    struct Asked {
        HostCommand command;
        std::uint32_t tag;
        Clock::time_point since;
        std::chrono::milliseconds limit; // without a sign of life
    };

    // The process and its channel. Only the thread that holds the Turn uses it, except for `lastSign`.
    struct Running {
        explicit Running(const Settings& settings);
        bridge::ChannelChild child;
        bridge::FrameReader reader{child.channel()};
        std::uint32_t lastTag = 0;
        std::optional<Asked> asked;
        std::atomic<Clock::time_point> lastSign{Clock::now()}; // when the process last answered or said that it works
    };

    // Thrown when the process must be given up: `how` is for the log, `why` for the caller of the command.
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

    // What several threads use.
    struct State {
        bool taken = false;              // whether a thread has the turn
        std::deque<const void*> waiting; // who waits for the turn, in order
        std::shared_ptr<Running> running;
        std::shared_ptr<Running> triedOut; // before it runs
        ModuleFacts facts;
        std::uint64_t incarnation = 0;
        bool wanted = false;   // started, and not stopped since
        bool reviving = false; // reviver_ is at work
        unsigned failures = 0; // in a row
        Clock::time_point notBefore{};
        Clock::time_point lastFailure{};
    };
    using LockedState = platform::Guarded<State>::Access<State>;

    class Waiting;

    void awaitTurn(LockedState& state, HostPatience patience);
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
    bool noteRevival(bool succeeded);
    std::chrono::milliseconds limitOf(HostCommand command) const;

    [[noreturn]] void lose(Running& process, const Lost& lost);
    bool forget(const Running& process, const std::string& how);
    std::optional<Clock::time_point> noteFailure(const Running& process);
    Lost hung(HostCommand command) const;
    Lost gone(const Running& process) const;
    Lost nonsense() const;
    RefusedError busy() const;
    bridge::Remark notRunning(const State& state) const;

    const Settings settings_;

    std::mutex starting_; // one start at a time
    std::thread reviver_; // of lookAfter()
    platform::Guarded<State> state_;
    std::condition_variable changed_;
};

} // namespace panelkitd
