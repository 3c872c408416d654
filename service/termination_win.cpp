// SPDX-License-Identifier: MIT
#include <service/termination.h>

#include <service/exit_status.h>
#include <service/request_note.h>

#include <windows.h>

#include <cstdlib>
#include <string_view>
#include <thread>

namespace panelkitd {

namespace {

// The system's handler has no argument, so the request is stored here; it is never destroyed.
RequestNote& note() {
    static auto* const theNote = new RequestNote;
    return *theNote;
}

// Runs on a thread of the system, which may stay here until the process ends.
BOOL WINAPI onControl(DWORD) {
    std::thread([] {
        std::this_thread::sleep_for(note().limit());
        abandonProcess();
    }).detach();
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

// Not through the log: its reader may be what hangs.
void abandonProcess() {
    constexpr std::string_view text = "error: something did not end in time and is abandoned\r\n";
    drainLog(std::chrono::milliseconds(200));
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    std::_Exit(static_cast<int>(ExitStatus::abandoned));
}

// Windows writes dumps of a process only if an administrator configures it.
void forbidCoreDumps() { SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX); }

} // namespace panelkitd
