// SPDX-License-Identifier: MIT
//
// panelctl as another account, which only root can become.
#pragma once

#include "running_service.h"

#include <platform/system/child_process.h>

#include <string>
#include <vector>

// Copies of the programs in a folder where everybody may start them, since another user may not enter the build folder.
// `endpoint` is that of a service of the test, whose folder is opened to everybody.
class OtherUser {
public:
    explicit OtherUser(std::string endpoint);

    static bool canBecome(); // whether this process is root

    // Runs panelctl as the user, in the group "nogroup" and in those that setpriv's option `groups` says.
    platform::ChildResult run(const std::string& user, const std::string& groups, std::vector<std::string> arguments,
                              const std::string& input = {}) const;

    // What starts panelkitd as the user, with its endpoint "socket" and its state in a folder where the user may write.
    platform::ChildOptions serviceIn(const std::string& folder, const std::string& user) const;

private:
    platform::ChildOptions as(const std::string& user, const std::string& groups, const char* program) const;

    const std::string endpoint_;
    TemporaryFolder programs_;
};
