// SPDX-License-Identifier: MIT
#include "other_user_posix.h"

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>

OtherUser::OtherUser(std::string endpoint) : endpoint_(std::move(endpoint)) {
    for (const char* name : {"panelctl", "libpanelkit.so.0"}) {
        std::filesystem::copy_file(builtProgram(name), programs_.path() / name);
    }
    ::chmod(std::filesystem::path(endpoint_).parent_path().c_str(), 0755);
}

bool OtherUser::canBecome() { return ::geteuid() == 0; }

platform::ChildOptions OtherUser::as(const std::string& user, const std::string& groups, const char* program) const {
    platform::ChildOptions options;
    options.arguments = {"setpriv", "--reuid", user, "--regid", "nogroup", groups, programs_.file(program)};
    options.environment["LD_LIBRARY_PATH"] = programs_.path().string();
    options.environment["LC_ALL"] = "C.UTF-8";
    return options;
}

platform::ChildResult OtherUser::run(const std::string& user, const std::string& groups,
                                     std::vector<std::string> arguments, const std::string& input) const {
    platform::ChildOptions options = as(user, groups, "panelctl");
    arguments.insert(arguments.begin(), {"--endpoint", endpoint_});
    options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
    options.input = input;
    return platform::runChild(options, std::chrono::seconds(30));
}

platform::ChildOptions OtherUser::serviceIn(const std::string& folder, const std::string& user) const {
    std::filesystem::copy_file(builtProgram("panelkitd"), programs_.file("panelkitd"));
    platform::ChildOptions options = as(user, "--clear-groups", "panelkitd");
    for (const std::string& word :
         {std::string("--endpoint"), folder + "/socket", std::string("--state"), folder + "/state"}) {
        options.arguments.push_back(word);
    }
    return options;
}
