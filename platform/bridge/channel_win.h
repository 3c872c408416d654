// SPDX-License-Identifier: MIT
//
// The native stream behind a Channel, shared with the listener that accepts connections.
#pragma once

#include <platform/bridge/channel.h>
#include <platform/system/handle_win.h>

namespace bridge {

struct Channel::Stream {
    platform::Handle pipe;
    platform::Handle readDone{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    platform::Handle writeDone{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    platform::Handle closing{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    bool acceptedHere = false; // the other end is a front end, not the service

    bool isClosed() const { return WaitForSingleObject(closing.get(), 0) == WAIT_OBJECT_0; }

    // Waits for an overlapped operation on `pipe`; cancels it when the deadline passes or close() is called.
    IoStatus finish(OVERLAPPED& operation, std::size_t& transferred, Deadline deadline);
};

// The milliseconds until `deadline`, for the waiting calls.
DWORD waitTime(Deadline deadline);

} // namespace bridge
