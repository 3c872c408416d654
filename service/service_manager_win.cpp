// SPDX-License-Identifier: MIT
#include <service/service_manager.h>

#include <service/base/log.h>
#include <service/event_log_win.h>
#include <service/exit_status.h>
#include <service/service_name_win.h>
#include <service/termination_win.h>

#include <platform/system/guarded.h>
#include <platform/text/utf16.h>

#include <windows.h>

#include <chrono>
#include <condition_variable>
#include <thread>
#include <utility>

namespace panelkitd {

namespace {

constexpr auto tick = std::chrono::seconds(1);
constexpr DWORD hint = 10'000;         // milliseconds until the next check point is due
constexpr DWORD mostCheckPoints = 300; // a start that takes longer hangs, and the manager is to see it

// What the manager was told last. Its handler and its main function take no argument, so this is process-wide; it is
// never destroyed, because threads may use it until the process ends.
class Report {
public:
    static Report& instance() {
        static auto* const report = new Report;
        return *report;
    }

    // A thread of its own then says every second that the change of the state goes on.
    void begin(SERVICE_STATUS_HANDLE handle) {
        auto state = state_.lock();
        state->handle = handle;
        tell(*state, SERVICE_START_PENDING);
        try {
            std::thread([this] { run(); }).detach();
        } catch (const std::exception& error) {
            logFailure("there is no thread for the service manager", error);
        }
    }

    void change(DWORD to) {
        const auto state = state_.lock();
        if (state->handle && !(to == SERVICE_RUNNING && state->status.dwCurrentState == SERVICE_STOP_PENDING)) {
            tell(*state, to);
        }
    }

    // A service that was asked to stop has stopped, however hard that was: a status other than 0 would have the manager
    // start it again. The log has the error.
    void end(int exitStatus) {
        const auto state = state_.lock();
        if (!state->handle) return;
        const bool wasAsked = state->status.dwCurrentState == SERVICE_STOP_PENDING;
        if (exitStatus != 0 && !wasAsked) {
            state->status.dwWin32ExitCode = ERROR_SERVICE_SPECIFIC_ERROR;
            state->status.dwServiceSpecificExitCode = static_cast<DWORD>(exitStatus);
        }
        tell(*state, SERVICE_STOPPED);
        state->handle = nullptr; // nothing may be told after that
    }

private:
    struct State {
        SERVICE_STATUS_HANDLE handle = nullptr;
        SERVICE_STATUS status{.dwServiceType = SERVICE_WIN32_OWN_PROCESS};
    };

    static bool isPending(DWORD state) { return state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING; }

    static void tell(State& state, DWORD now) {
        SERVICE_STATUS& status = state.status;
        const bool goesOn = status.dwCurrentState == now && isPending(now);
        status.dwCurrentState = now;
        status.dwCheckPoint = goesOn ? status.dwCheckPoint + 1 : isPending(now);
        status.dwWaitHint = isPending(now) ? hint : 0;
        // Only a service that runs can be asked to stop. A system that shuts down waits longer for those that are told
        // before the others.
        status.dwControlsAccepted = now == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PRESHUTDOWN : 0;
        SetServiceStatus(state.handle, &status);
    }

    void run() {
        auto state = state_.lock();
        std::condition_variable never;
        while (state->handle) {
            state.waitFor(never, tick, [] { return false; });
            const SERVICE_STATUS& status = state->status;
            if (state->handle && isPending(status.dwCurrentState) && status.dwCheckPoint < mostCheckPoints) {
                tell(*state, status.dwCurrentState);
            }
        }
    }

    platform::Guarded<State> state_;
};

// The manager waits until this returns before it asks anything else.
DWORD WINAPI onControl(DWORD control, DWORD, void*, void*) {
    if (control == SERVICE_CONTROL_INTERROGATE) return NO_ERROR;
    if (control != SERVICE_CONTROL_STOP && control != SERVICE_CONTROL_PRESHUTDOWN) return ERROR_CALL_NOT_IMPLEMENTED;
    Report::instance().change(SERVICE_STOP_PENDING);
    askToEnd();
    return NO_ERROR;
}

// What the manager's main function needs.
struct Task {
    const std::function<int()>* serve = nullptr;
    int status = static_cast<int>(ExitStatus::failed);
};
Task task;

void WINAPI serviceMain(DWORD, wchar_t**) {
    SERVICE_STATUS_HANDLE const handle = RegisterServiceCtrlHandlerExW(serviceName, onControl, nullptr);
    if (!handle) return logError("the service manager takes no handler: " + platform::systemErrorText(GetLastError()));
    Report::instance().begin(handle);
    task.status = (*task.serve)();
    Report::instance().end(task.status);
}

} // namespace

// A pipe can't be passed on.
std::optional<int> inheritedSocket(const std::string&) { return std::nullopt; }

void tellServiceManager(ServicePhase phase) {
    Report::instance().change(phase == ServicePhase::serving ? SERVICE_RUNNING : SERVICE_STOP_PENDING);
}

void tellServiceManagerTheEnd(int exitStatus) { Report::instance().end(exitStatus); }

int serveForManager(const std::function<int()>& serve) {
    task.serve = &serve;
    logToEventLog();
    std::wstring name = serviceName;
    const SERVICE_TABLE_ENTRYW table[] = {{name.data(), serviceMain}, {nullptr, nullptr}};
    if (StartServiceCtrlDispatcherW(table)) return task.status;
    logError("the service manager did not start this process: " + platform::systemErrorText(GetLastError()));
    return static_cast<int>(ExitStatus::failed);
}

} // namespace panelkitd
