// SPDX-License-Identifier: MIT
#include <service/termination.h>

#include <service/request_note.h>

#include <windows.h>

namespace panelkitd {

namespace {

// The system's handler takes no argument, so the request of the process is noted here; it outlives everything.
RequestNote& note() {
    static auto* const theNote = new RequestNote;
    return *theNote;
}

BOOL WINAPI onControl(DWORD) {
    note().ask();
    return TRUE;
}

} // namespace

struct TerminationRequest::State {};

TerminationRequest::TerminationRequest() { SetConsoleCtrlHandler(onControl, TRUE); }

TerminationRequest::~TerminationRequest() { note().whenAsked(nullptr); }

void TerminationRequest::whenAsked(std::function<void()> react) { note().whenAsked(std::move(react)); }

// Windows writes no dumps of a process unless the administrator sets that up.
void forbidCoreDumps() { SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX); }

} // namespace panelkitd
