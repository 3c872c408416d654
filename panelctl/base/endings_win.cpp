// SPDX-License-Identifier: MIT
#include <panelctl/base/endings.h>

#include <windows.h>

#include <mutex>
#include <utility>

namespace panelctl {

namespace {

// The system's handler takes no argument, so what it needs is global.
struct Reaction {
    std::mutex mutex; // guards onEnd
    std::function<void()> onEnd;
};

Reaction& reaction() {
    static auto* const theReaction = new Reaction; // handlers may run until the process ends
    return *theReaction;
}

BOOL WINAPI onControl(DWORD) {
    const std::scoped_lock lock(reaction().mutex);
    const auto onEnd = std::exchange(reaction().onEnd, nullptr);
    if (!onEnd) return FALSE; // the second one, or the object is gone
    onEnd();
    return TRUE;
}

} // namespace

struct Endings::State {};

Endings::Endings(std::function<void()> onEnd) {
    {
        const std::scoped_lock lock(reaction().mutex);
        reaction().onEnd = std::move(onEnd);
    }
    SetConsoleCtrlHandler(onControl, TRUE);
}

Endings::~Endings() {
    SetConsoleCtrlHandler(onControl, FALSE);
    const std::scoped_lock lock(reaction().mutex);
    reaction().onEnd = nullptr;
}

} // namespace panelctl
