// SPDX-License-Identifier: MIT
//
// Module 5: the commands on the local security policy. Every user of the service may read, and change the user's own
// policy and settings; commands on the system's, the driver policy or another user's policy are for administrators.
#pragma once

#include <service/base/call.h>
#include <service/policy/policies.h>

#include <functional>
#include <string>
#include <utility>

namespace panelkitd {

class PolicyCommands {
public:
    // `setSettings` stores settings of the system for the user with that name. Throws as Policies does.
    using SetSettings = std::function<void(const LSPcmd::LSPsettings_t& settings, const std::string& user)>;
    PolicyCommands(Policies& policies, SetSettings setSettings)
        : policies_(policies), setSettings_(std::move(setSettings)) {}

    std::string info(Call& call);
    std::string view(Call& call);

    std::string activateCurrent(Call& call);
    std::string activateDriver(Call& call);
    std::string activateSystem(Call& call);
    std::string activateUser(Call& call);

    std::string settings(Call& call);
    std::string setSettings(Call& call);
    std::string offerUserSettings(Call& call);
    std::string userSettings(Call& call);
    std::string setUserSettings(Call& call);
    std::string loggedInUser(Call& call);

private:
    Policies& policies_;
    const SetSettings setSettings_;
};

} // namespace panelkitd
