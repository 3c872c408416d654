// SPDX-License-Identifier: MIT
//
// The service as a whole: its parts, in the order in which they are made, and what each hears of the others. A commit
// of the configuration reaches whoever acts on it; whatever happens is announced to the front ends that listen.
#pragma once

#include <service/certs/cert_commands.h>
#include <service/certs/expiry_watch.h>
#include <service/config/parameter_commands.h>
#include <service/dispatcher.h>
#include <service/net/interface_commands.h>
#include <service/notifications/announcer.h>
#include <service/options.h>
#include <service/policy/policy_commands.h>
#include <service/policy/token_credentials.h>
#include <service/state/state_folder.h>
#include <service/termination.h>
#include <service/tokens/token_commands.h>
#include <service/tokens/token_watcher.h>

#include <chrono>

namespace panelkitd {

class Daemon {
public:
    // Reads what is kept in the state folder and loads the providers. Throws when it can't.
    explicit Daemon(const Options& options);

    // Serves front ends until it is asked to end. When a command or a module hangs then, the process is abandoned.
    void serve(TerminationRequest& termination);

private:
    using Clock = std::chrono::steady_clock;

    void listenToConfiguration();
    bool stopWatches(Clock::time_point deadline);

    const Options& options_;
    StateFolder state_;
    Access access_;
    Configuration configuration_;
    Announcer announcer_;

    Providers providers_;
    CertCommands certificates_;
    TokenCredentials credentials_;
    TokenWatcher tokenWatcher_;
    TokenCommands tokens_;
    ExpiryWatch expiryWatch_;
    ParameterCommands parameters_;
    InterfaceCommands interfaces_;
    Policies policies_;
    PolicyCommands policy_;

    Dispatcher dispatcher_;
};

} // namespace panelkitd
