// SPDX-License-Identifier: MIT
#include <testing/scripted_service.h>

#include <windows.h>

#include <atomic>

namespace panelkit::testing {

std::string uniqueEndpoint() {
    static std::atomic<unsigned> used{0};
    return R"(\\.\pipe\panelkit-test-)" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++used);
}

} // namespace panelkit::testing
