// SPDX-License-Identifier: MIT
//
// Owners of Windows handles and of memory that LocalFree releases. Windows only.
#pragma once

#include <windows.h>

#include <memory>

namespace platform {

struct HandleCloser {
    using pointer = HANDLE;
    void operator()(HANDLE handle) const {
        if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
    }
};
// When there is no handle, this is null or INVALID_HANDLE_VALUE, whichever the system call has returned.
using Handle = std::unique_ptr<void, HandleCloser>;

inline bool valid(const Handle& handle) { return handle.get() && handle.get() != INVALID_HANDLE_VALUE; }

struct LocalFreer {
    void operator()(void* memory) const { LocalFree(memory); }
};
template <class T>
using LocalMemory = std::unique_ptr<T, LocalFreer>;

} // namespace platform
