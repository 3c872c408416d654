// SPDX-License-Identifier: MIT
#include "panelctl.h"

#include <algorithm>

platform::ChildResult panelctl(const std::string& endpoint, std::vector<std::string> arguments,
                               const std::string& input,
                               std::map<std::string, std::optional<std::string>> environment) {
    platform::ChildOptions options;
    options.arguments = {builtProgram("panelctl"), "--endpoint", endpoint};
    options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
    options.input = input;
    options.environment = std::move(environment);
    options.environment.insert({{"PANELKIT_BRIDGE", std::nullopt}, {"LC_ALL", "C.UTF-8"}, {"NO_COLOR", "1"}});
    platform::ChildResult result = platform::runChild(options, std::chrono::seconds(60));
    for (std::string* text : {&result.output, &result.error}) { // Windows has other line ends
        text->erase(std::remove(text->begin(), text->end(), '\r'), text->end());
    }
    return result;
}
