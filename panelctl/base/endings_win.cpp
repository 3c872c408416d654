// SPDX-License-Identifier: MIT
#include <panelctl/base/endings.h>

#include <platform/system/guarded.h>

#include <windows.h>

#include <utility>

namespace panelctl {

namespace {

// The system's handler takes no argument, so what it needs is global.
using Reaction = platform::Guarded<std::function<void()>>;

Reaction& reaction() {
    static auto* const theReaction = new Reaction; // handlers may run until the process ends
    return *theReaction;
}

BOOL WINAPI onControl(DWORD) {
    const auto current = reaction().lock(); // until the end: the object waits for a reaction that runs
    const auto onEnd = std::exchange(*current, nullptr);
    if (!onEnd) return FALSE; // the second one, or the object is gone
    onEnd();
    return TRUE;
}

} // namespace

struct Endings::State {};

Endings::Endings(std::function<void()> onEnd) {
    *reaction().lock() = std::move(onEnd);
    SetConsoleCtrlHandler(onControl, TRUE);
}

Endings::~Endings() {
    SetConsoleCtrlHandler(onControl, FALSE);
    *reaction().lock() = nullptr;
}

} // namespace panelctl
