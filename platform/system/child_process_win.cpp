// SPDX-License-Identifier: MIT
#include <platform/system/child_process.h>

#include <platform/system/child_process_win.h>
#include <platform/system/collected_text.h>
#include <platform/system/handle_win.h>
#include <platform/system/names_win.h>
#include <platform/text/utf16.h>

#include <array>
#include <stdexcept>
#include <thread>

namespace platform {

namespace {

struct Pipe {
    Handle read;
    Handle write;
    Pipe() {
        SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
        HANDLE ends[2]{};
        if (!CreatePipe(&ends[0], &ends[1], &inheritable, 0)) throw std::runtime_error("can't make a pipe");
        read.reset(ends[0]);
        write.reset(ends[1]);
    }
    static void keepToOurselves(const Handle& end) { SetHandleInformation(end.get(), HANDLE_FLAG_INHERIT, 0); }
};

// Quotes one argument so that the parser of the C runtime returns it unchanged. There, backslashes are special only
// before a quotation mark.
std::wstring quoted(const std::wstring& argument) {
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : argument) {
        if (c == L'"') text.append(backslashes + 1, L'\\');
        backslashes = c == L'\\' ? backslashes + 1 : 0;
        text += c;
    }
    return text.append(backslashes, L'\\') + L'"';
}

// The environment block: entries of the form NAME=value, each with a zero at its end, and one more zero at the end of
// all.
std::wstring blockOf(const std::map<std::string, std::string>& variables) {
    std::wstring block;
    for (const auto& [name, value] : variables) {
        block.append(toUtf16(std::string(name).append("=").append(value))).push_back(L'\0');
    }
    block.push_back(L'\0');
    return block;
}

// In the command line, the system takes programs whose path has up to 260 characters, and adds ".exe" itself. Returns
// the name of one whose path is longer; otherwise the empty text.
std::wstring programOutsideLine(const std::string& path) {
    std::wstring name = programName(path);
    if (!name.starts_with(LR"(\\?\)")) return {};
    const bool hasExtension = name.find(L'.', name.rfind(L'\\')) != name.npos;
    return hasExtension ? name : name + L".exe";
}

// Starts a program with inheritable handles. CreateProcess answers ERROR_INTERNAL_ERROR when the new process ended
// before it reached its first instruction, which Wine does now and then under load; nothing of the program has run
// then, so it is started again.
PROCESS_INFORMATION createProcess(const std::vector<std::string>& arguments,
                                  const std::map<std::string, std::string>& environment, DWORD flags,
                                  STARTUPINFOW& startup) {
    constexpr int mostAttempts = 3;
    std::wstring block = blockOf(environment);
    const std::wstring longProgram = programOutsideLine(arguments.at(0));
    const wchar_t* const program = longProgram.empty() ? nullptr : longProgram.c_str();
    for (int attempt = 1;; ++attempt) {
        std::wstring commandLine = commandLineOf(arguments); // which the call may change
        PROCESS_INFORMATION started{};
        if (CreateProcessW(program, commandLine.data(), nullptr, nullptr, TRUE, flags, block.data(), nullptr, &startup,
                           &started)) {
            return started;
        }
        const DWORD failed = GetLastError();
        if (failed == ERROR_INTERNAL_ERROR && attempt < mostAttempts) continue;
        throw std::runtime_error(arguments.at(0) + " can't be started: " + systemErrorText(failed));
    }
}

void collect(HANDLE from, CollectedText& into) {
    std::array<char, 16384> buffer{};
    DWORD count = 0;
    while (ReadFile(from, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) && count > 0) {
        into.add(buffer.data(), count);
    }
}

void feed(HANDLE to, const std::string& text) {
    std::size_t written = 0;
    DWORD count = 0;
    while (written < text.size() &&
           WriteFile(to, text.data() + written, static_cast<DWORD>(text.size() - written), &count, nullptr)) {
        written += count;
    }
}

} // namespace

// Some entries begin with "=": they hold the current folders of drives.
std::map<std::string, std::string> environment() {
    std::map<std::string, std::string> variables;
    wchar_t* const block = GetEnvironmentStringsW();
    for (const wchar_t* entry = block; *entry; entry += std::wstring_view(entry).size() + 1) {
        const std::wstring_view text(entry);
        const std::size_t end = text.find(L'=', 1);
        if (end != std::wstring_view::npos)
            variables.emplace(toUtf8(text.substr(0, end)), toUtf8(text.substr(end + 1)));
    }
    FreeEnvironmentStringsW(block);
    return variables;
}

struct ChildProcess::State {
    Handle process;
    DWORD pid = 0;
    bool killedByUs = false;
    Pipe input, output, error;
    std::string toFeed;
    CollectedText outputText, errorText;
    std::thread feeder, outputReader, errorReader;

    State() = default;
    ~State();
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void start(const ChildOptions& options);
    void kill();
    void joinAll();
};

// Joins the threads that were started, also when others could not be started.
ChildProcess::State::~State() {
    if (valid(process)) {
        kill();
        WaitForSingleObject(process.get(), INFINITE);
    }
    joinAll();
}

void ChildProcess::State::kill() {
    if (WaitForSingleObject(process.get(), 0) == WAIT_OBJECT_0) return;
    killedByUs = true;
    TerminateProcess(process.get(), 9);
}

void ChildProcess::State::start(const ChildOptions& options) {
    Pipe::keepToOurselves(input.write);
    Pipe::keepToOurselves(output.read);
    Pipe::keepToOurselves(error.read);

    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input.read.get();
    startup.hStdOutput = output.write.get();
    startup.hStdError = options.inheritError ? GetStdHandle(STD_ERROR_HANDLE) : error.write.get();
    const PROCESS_INFORMATION started =
        createProcess(options.arguments, environmentFor(options), CREATE_UNICODE_ENVIRONMENT, startup);
    CloseHandle(started.hThread);
    process.reset(started.hProcess);
    pid = started.dwProcessId;
    input.read.reset();
    output.write.reset();
    error.write.reset();
}

void ChildProcess::State::joinAll() {
    for (std::thread* thread : {&feeder, &outputReader, &errorReader}) {
        if (thread->joinable()) thread->join();
    }
}

ChildProcess::ChildProcess(const ChildOptions& options) : state_(std::make_unique<State>()) {
    State& state = *state_;
    state.start(options);
    state.toFeed = options.input;
    state.outputReader = std::thread([&state] { collect(state.output.read.get(), state.outputText); });
    state.errorReader = std::thread([&state] { collect(state.error.read.get(), state.errorText); });
    state.feeder = std::thread([&state] {
        feed(state.input.write.get(), state.toFeed);
        state.input.write.reset();
    });
}

ChildProcess::~ChildProcess() = default;

std::int64_t ChildProcess::id() const { return state_->pid; }

bool ChildProcess::ended() const { return WaitForSingleObject(state_->process.get(), 0) == WAIT_OBJECT_0; }

void ChildProcess::terminate() { kill(); }

void ChildProcess::kill() { state_->kill(); }

std::wstring commandLineOf(const std::vector<std::string>& arguments) {
    std::wstring line;
    for (const std::string& argument : arguments) line += quoted(toUtf16(argument)) + L" ";
    return line;
}

namespace {

// The list of handles that a process inherits. Without this list it would inherit every inheritable handle of this
// process, also those for other children.
class InheritedHandles {
public:
    explicit InheritedHandles(std::span<const HANDLE> handles) : handles_(handles.begin(), handles.end()) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        memory_.resize(size);
        InitializeProcThreadAttributeList(list(), 1, 0, &size);
        UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                                  handles_.size() * sizeof(HANDLE), nullptr, nullptr);
    }
    ~InheritedHandles() { DeleteProcThreadAttributeList(list()); }
    InheritedHandles(const InheritedHandles&) = delete;
    InheritedHandles& operator=(const InheritedHandles&) = delete;

    LPPROC_THREAD_ATTRIBUTE_LIST list() { return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data()); }

private:
    std::vector<HANDLE> handles_;
    std::vector<char> memory_;
};

} // namespace

StartedProcess startProcess(const std::vector<std::string>& arguments,
                            const std::map<std::string, std::string>& environment, std::span<const HANDLE> inherited) {
    InheritedHandles handles(inherited);
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES; // of which there are none
    startup.lpAttributeList = handles.list();
    constexpr DWORD flags = CREATE_UNICODE_ENVIRONMENT | EXTENDED_STARTUPINFO_PRESENT | CREATE_NO_WINDOW;
    const PROCESS_INFORMATION started = createProcess(arguments, environment, flags, startup.StartupInfo);
    CloseHandle(started.hThread);
    return {Handle(started.hProcess), started.dwProcessId};
}

ChildResult ChildProcess::wait(std::chrono::milliseconds limit) {
    ChildResult result;
    if (WaitForSingleObject(state_->process.get(), static_cast<DWORD>(limit.count())) == WAIT_TIMEOUT) {
        result.ending = Ending::timedOut;
        kill();
        WaitForSingleObject(state_->process.get(), INFINITE);
    }
    state_->joinAll();
    DWORD status = 0;
    GetExitCodeProcess(state_->process.get(), &status);
    // An unhandled exception ends a process with its code, which has the two highest bits set.
    const bool crashed = status >= 0xC0000000;
    if (result.ending != Ending::timedOut && (state_->killedByUs || crashed)) result.ending = Ending::killed;
    result.status = static_cast<int>(status);
    result.output = state_->outputText.text();
    result.error = state_->errorText.text();
    return result;
}

std::string ChildProcess::outputSoFar() const { return state_->outputText.text(); }
std::string ChildProcess::errorSoFar() const { return state_->errorText.text(); }

} // namespace platform
