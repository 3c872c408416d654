// SPDX-License-Identifier: MIT
#include <platform/bridge/channel_child.h>

#include <platform/bridge/channel_posix.h>
#include <platform/system/guarded.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>
#include <stdexcept>
#include <system_error>

namespace bridge {

namespace {

// The number of the channel's descriptor in the child: the first one after the standard streams.
constexpr int channelDescriptor = 3;

std::unique_ptr<Channel> channelOver(int socket) {
    return std::make_unique<Channel>(std::make_unique<Channel::Stream>(socket));
}

// The environment, files and attributes of the new process.
class SpawnPlan {
public:
    explicit SpawnPlan(int channel) {
        posix_spawn_file_actions_init(&actions_);
        for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            posix_spawn_file_actions_addopen(&actions_, standard, "/dev/null", O_RDWR, 0);
        }
        posix_spawn_file_actions_adddup2(&actions_, channel, channelDescriptor);
        posix_spawn_file_actions_addclosefrom_np(&actions_, channelDescriptor + 1);

        posix_spawnattr_init(&attributes_); // default signals, whatever is blocked or ignored here
        sigset_t none, all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &all);
        // The child gets its own session, so that signals from the service's terminal (Ctrl+C) do not reach it.
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
    }
    ~SpawnPlan() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    pid_t run(std::vector<std::string>& arguments, std::vector<std::string>& environment) const {
        pid_t child = -1;
        const int failed = ::posix_spawn(&child, arguments[0].c_str(), &actions_, &attributes_,
                                         pointers(arguments).data(), pointers(environment).data());
        if (failed == 0) return child;
        throw std::runtime_error(arguments[0] + " can't be started: " + std::generic_category().message(failed));
    }

private:
    static std::vector<char*> pointers(std::vector<std::string>& texts) {
        std::vector<char*> result;
        for (std::string& text : texts) result.push_back(text.data());
        result.push_back(nullptr);
        return result;
    }

    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

} // namespace

struct ChannelChild::Process {
    using Status = std::optional<int>;

    const pid_t id;
    platform::Guarded<Status> ended; // the lock keeps the number from being reused between a look and a signal

    explicit Process(pid_t child) : id(child) {}

    // Returns whether the child has ended. The process stays a zombie until this has seen its end, so its number is not
    // reused before.
    bool reap(Status& status, int flags) const {
        if (status) return true;
        int how = 0;
        pid_t got = 0;
        do {
            got = ::waitpid(id, &how, flags);
        } while (got < 0 && errno == EINTR);
        if (got == id) status = how;
        return status.has_value();
    }
};

ChannelChild::ChannelChild(std::vector<std::string> arguments, const std::map<std::string, std::string>& environment) {
    std::array<int, 2> ends{-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::runtime_error("a channel can't be made: " + std::generic_category().message(errno));
    }
    const auto closeTheirs = [](const int* end) { ::close(*end); };
    const std::unique_ptr<int, decltype(closeTheirs)> theirs(&ends[1], closeTheirs);
    channel_ = channelOver(ends[0]);
    arguments.push_back(std::to_string(channelDescriptor));
    std::vector<std::string> variables;
    for (const auto& [name, value] : environment) variables.push_back(std::string(name).append("=").append(value));
    process_ = std::make_unique<Process>(SpawnPlan(ends[1]).run(arguments, variables));
}

ChannelChild::~ChannelChild() {
    kill();
    process_->reap(*process_->ended.lock(), 0);
}

std::int64_t ChannelChild::id() const { return process_->id; }

void ChannelChild::kill() {
    const auto status = process_->ended.lock();
    if (!process_->reap(*status, WNOHANG)) ::kill(process_->id, SIGKILL);
    channel_->close(); // a process that the child has started may hold the other end
}

bool ChannelChild::ended() const { return process_->reap(*process_->ended.lock(), WNOHANG); }

std::string ChannelChild::ending() const {
    const int status = process_->ended.lock()->value_or(0);
    if (WIFSIGNALED(status)) return "was killed by signal " + std::to_string(WTERMSIG(status));
    return "exited with status " + std::to_string(WEXITSTATUS(status));
}

// ---- in the child

struct ChannelParent::Link {};

ChannelParent::ChannelParent(const std::string& name) {
    if (name != std::to_string(channelDescriptor)) throw std::runtime_error("there is no channel \"" + name + "\"");
    ::fcntl(channelDescriptor, F_SETFD, FD_CLOEXEC); // not inherited by programs that a module starts
    channel_ = channelOver(channelDescriptor);
}

ChannelParent::~ChannelParent() = default;

void ChannelParent::awaitEnd() const {
    pollfd end{channelDescriptor, POLLRDHUP, 0};
    while ((end.revents & (POLLRDHUP | POLLHUP | POLLERR)) == 0) {
        if (::poll(&end, 1, -1) < 0 && errno != EINTR) return;
    }
}

} // namespace bridge
