// SPDX-License-Identifier: MIT
#include <service/termination.h>

#include <service/exit_status.h>
#include <service/request_note.h>
#include <service/termination_win.h>

#include <windows.h>

#include <cstdlib>
#include <thread>

namespace panelkitd {

namespace {

// The system's handler has no argument, so the request is stored here; it is never destroyed.
RequestNote& note() {
    static auto* const theNote = new RequestNote;
    return *theNote;
}

// Without a thread for the limit, a stop that hangs has none.
void limitTheTime() {
    try {
        std::thread([] {
            std::this_thread::sleep_for(note().limit());
            abandonProcess();
        }).detach();
    } catch (const std::exception& error) {
        logFailure("asked to end", error);
    }
}

// Runs on a thread of the system, which may stay here until the process ends. Services alone hear that a user logs off,
// which does not concern them.
BOOL WINAPI onControl(DWORD event) {
    if (event == CTRL_LOGOFF_EVENT) return TRUE;
    limitTheTime();
    note().ask();
    return TRUE;
}

} // namespace

struct TerminationRequest::State {};

TerminationRequest::TerminationRequest() { SetConsoleCtrlHandler(onControl, TRUE); }

TerminationRequest::~TerminationRequest() { note().whenAsked(nullptr); }

void TerminationRequest::awaitReaction() { note().awaitReaction(); }

void TerminationRequest::setLimit(std::chrono::milliseconds limit) { note().setLimit(limit); }

void TerminationRequest::whenAsked(std::function<void()> react) { note().whenAsked(std::move(react)); }

void askToEnd() {
    limitTheTime();
    try {
        std::thread([] { note().ask(); }).detach();
    } catch (const std::exception& error) {
        logFailure("asked to end", error);
        note().ask();
    }
}

// The log's own thread writes the line, because the reader of the log may be what hangs.
void abandonProcess() {
    logError("something did not end in time and is abandoned");
    drainLog(std::chrono::milliseconds(200));
    tellServiceManagerTheEnd(static_cast<int>(ExitStatus::abandoned));
    std::_Exit(static_cast<int>(ExitStatus::abandoned));
}

// Windows writes dumps of a process only if an administrator configures it.
void forbidCoreDumps() { SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX); }

} // namespace panelkitd
