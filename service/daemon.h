// SPDX-License-Identifier: MIT
//
// The service as a whole: its parts, in the order in which they are made, and what each hears of the others. A commit
// of the configuration reaches whoever acts on it; whatever happens is announced to the front ends that listen.
#pragma once

#include <service/certs/cert_module.h>
#include <service/config/parameter_module.h>
#include <service/dispatcher.h>
#include <service/net/interface_module.h>
#include <service/notifications/announcer.h>
#include <service/notifications/expiry_watch.h>
#include <service/notifications/token_watcher.h>
#include <service/options.h>
#include <service/policy/policy_module.h>
#include <service/policy/token_credentials.h>
#include <service/state_folder.h>
#include <service/termination.h>
#include <service/tokens/token_module.h>

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
    CertModule certificates_;
    TokenCredentials credentials_;
    TokenWatcher tokenWatcher_;
    TokenModule tokens_;
    ExpiryWatch expiryWatch_;
    ParameterModule parameters_;
    InterfaceModule interfaces_;
    Policies policies_;
    PolicyModule policy_;

    Dispatcher dispatcher_;
};

} // namespace panelkitd
