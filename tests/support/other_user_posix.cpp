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

platform::ChildResult OtherUser::run(const std::string& user, const std::string& groups,
                                     std::vector<std::string> arguments, const std::string& input) const {
    platform::ChildOptions options;
    options.arguments = {"setpriv",    "--reuid", user, "--regid", "nogroup", groups, programs_.file("panelctl"),
                         "--endpoint", endpoint_};
    options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
    options.environment["LD_LIBRARY_PATH"] = programs_.path().string();
    options.environment["LC_ALL"] = "C.UTF-8";
    options.input = input;
    return platform::runChild(options, std::chrono::seconds(30));
}
