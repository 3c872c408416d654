// SPDX-License-Identifier: MIT
//
// The channel is a named pipe with a random name. The child inherits the client's end of it, and a handle of this
// process, by which it notices that this process has ended. A job object ends the child together with this process.
#include <platform/bridge/channel_child.h>

#include <platform/bridge/channel_win.h>
#include <platform/bridge/peer.h>
#include <platform/system/child_process_win.h>
#include <platform/system/host.h>
#include <platform/text/utf16.h>

#include <array>
#include <stdexcept>

namespace bridge {

namespace {

constexpr DWORD pipeBuffer = 64 * 1024;
constexpr char separator = ':';

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + ": " + platform::systemErrorText(GetLastError()));
}

std::wstring randomPipeName() {
    std::array<std::uint32_t, 4> number{};
    platform::fillRandom(number.data(), sizeof number);
    std::wstring name = LR"(\\.\pipe\panelkit-child)";
    for (const std::uint32_t part : number) name += L"-" + std::to_wstring(part);
    return name;
}

std::unique_ptr<Channel> channelOver(platform::Handle pipe) {
    auto stream = std::make_unique<Channel::Stream>();
    stream->pipe = std::move(pipe);
    return std::make_unique<Channel>(std::move(stream));
}

HANDLE handleFrom(const std::string& text) {
    try {
        return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(std::stoull(text)));
    } catch (const std::exception&) {
        throw std::runtime_error("there is no channel \"" + text + "\"");
    }
}

std::string textOf(HANDLE handle) { return std::to_string(reinterpret_cast<std::uintptr_t>(handle)); }

struct PipeEnds {
    platform::Handle ours, theirs;
};

PipeEnds makePipe() {
    const std::wstring name = randomPipeName();
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    PipeEnds ends;
    ends.ours.reset(CreateNamedPipeW(name.c_str(),
                                     PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
                                     PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1,
                                     pipeBuffer, pipeBuffer, 0, nullptr));
    if (!platform::valid(ends.ours)) fail("a channel can't be made");
    ends.theirs.reset(CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, &inheritable, OPEN_EXISTING,
                                  FILE_FLAG_OVERLAPPED, nullptr));
    if (!platform::valid(ends.theirs)) fail("a channel can't be opened");
    return ends;
}

// A job object that ends its processes when its last handle is closed. The system closes that handle however this
// process ends.
platform::Handle makeJob() {
    platform::Handle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
    return job;
}

} // namespace

struct ChannelChild::Process {
    platform::Handle process;
    platform::Handle job;
    DWORD id = 0;
};

ChannelChild::ChannelChild(std::vector<std::string> arguments, const std::map<std::string, std::string>& environment)
    : process_(std::make_unique<Process>()) {
    PipeEnds ends = makePipe();
    HANDLE us = nullptr;
    DuplicateHandle(GetCurrentProcess(), GetCurrentProcess(), GetCurrentProcess(), &us, SYNCHRONIZE, TRUE, 0);
    const platform::Handle parent(us);
    arguments.push_back(textOf(ends.theirs.get()) + separator + textOf(parent.get()));
    const std::array<HANDLE, 2> inherited{ends.theirs.get(), parent.get()};
    platform::StartedProcess started = platform::startProcess(arguments, environment, inherited);
    process_->process = std::move(started.process);
    process_->id = started.id;
    process_->job = makeJob();
    AssignProcessToJobObject(process_->job.get(), process_->process.get());
    channel_ = channelOver(std::move(ends.ours));
}

ChannelChild::~ChannelChild() {
    kill();
    WaitForSingleObject(process_->process.get(), INFINITE);
}

std::int64_t ChannelChild::id() const { return process_->id; }

void ChannelChild::kill() {
    if (!ended()) TerminateProcess(process_->process.get(), 9);
    channel_->close(); // a process that had not started yet may hold the other end for a while
}

bool ChannelChild::ended() const { return WaitForSingleObject(process_->process.get(), 0) == WAIT_OBJECT_0; }

std::string ChannelChild::ending() const {
    DWORD status = 0;
    GetExitCodeProcess(process_->process.get(), &status);
    const bool crashed = status >= 0xC0000000; // an unhandled exception
    return (crashed ? "crashed with exception " : "exited with status ") + std::to_string(status);
}

// ---- in the child

struct ChannelParent::Link {
    platform::Handle parent;
};

ChannelParent::ChannelParent(const std::string& name) : link_(std::make_unique<Link>()) {
    const std::size_t middle = name.find(separator);
    if (middle == name.npos) throw std::runtime_error("there is no channel \"" + name + "\"");
    link_->parent.reset(handleFrom(name.substr(middle + 1)));
    platform::Handle pipe(handleFrom(name.substr(0, middle)));
    SetHandleInformation(pipe.get(), HANDLE_FLAG_INHERIT, 0); // not inherited by programs that a module starts
    SetHandleInformation(link_->parent.get(), HANDLE_FLAG_INHERIT, 0);
    channel_ = channelOver(std::move(pipe));
}

ChannelParent::~ChannelParent() = default;

void ChannelParent::awaitEnd() const { WaitForSingleObject(link_->parent.get(), INFINITE); }

} // namespace bridge
