// SPDX-License-Identifier: MIT
#include <platform/system/child_process.h>

namespace platform {

ChildResult runChild(const ChildOptions& options, std::chrono::milliseconds limit) {
    return ChildProcess(options).wait(limit);
}

} // namespace platform
