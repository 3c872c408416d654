// SPDX-License-Identifier: MIT
#include <platform/system/child_process.h>

namespace platform {

std::map<std::string, std::string> environmentFor(const ChildOptions& options) {
    std::map<std::string, std::string> variables = environment();
    for (const auto& [name, value] : options.environment) {
        if (value) {
            variables[name] = *value;
        } else {
            variables.erase(name);
        }
    }
    return variables;
}

} // namespace platform
