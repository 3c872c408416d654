// SPDX-License-Identifier: MIT
//
// The whole service: its parts, in the order in which they are constructed, and the connections between them. A commit
// of the configuration is passed to the parts that use it. Every event is announced to the front ends that listen. One
// thread constructs the service and calls serve().
#pragma once

#include <service/certs/cert_commands.h>
#include <service/certs/expiry_watch.h>
#include <service/config/parameter_commands.h>
#include <service/dispatcher.h>
#include <service/engine/engine.h>
#include <service/monitor/monitor_commands.h>
#include <service/net/interface_commands.h>
#include <service/notifications/announcer.h>
#include <service/options.h>
#include <service/policy/policy_commands.h>
#include <service/policy/token_credentials.h>
#include <service/policy/token_view.h>
#include <service/state/state_folder.h>
#include <service/termination.h>
#include <service/tokens/token_commands.h>
#include <service/tokens/token_watcher.h>

#include <chrono>
#include <memory>

namespace panelkitd {

class Daemon {
public:
    // Reads the state folder and loads the providers. Throws an exception with the reason when that fails. `options`
    // must outlive the service.
    explicit Daemon(const Options& options);

    // Serves front ends until `termination` asks it to end. If a command or a module hangs at that time, the process
    // exits without waiting for it.
    void serve(TerminationRequest& termination);

    // What serve() serves, for a caller in this process that needs no endpoint.
    bridge::server::Service& commands() { return dispatcher_; }

private:
    using Clock = std::chrono::steady_clock;

    void listenToConfiguration();
    void sharePolicySource();
    void setPolicySettings(const LSPcmd::LSPsettings_t& settings, const std::string& user);
    ProviderOptions providerOptions();
    EngineOptions engineOptions();
    CredentialList readTokens();
    void tellEngineOfLogOut(const PKCS11::TokenInfo& token) const;
    bool stopWatches(Clock::time_point deadline);
    bool watchesStopBefore(Clock::time_point deadline);

    const Options& options_;
    StateFolder state_;
    Access access_;
    Configuration configuration_;
    Announcer announcer_;

    std::unique_ptr<Engine> engine_;
    Providers providers_;
    CertCommands certificates_;
    TokenView tokenView_;
    TokenCredentials credentials_;
    TokenWatcher tokenWatcher_;
    TokenCommands tokens_;
    ExpiryWatch expiryWatch_;
    ParameterCommands parameters_;
    InterfaceCommands interfaces_;
    Policies policies_;
    PolicyCommands policy_;
    MonitorCommands monitor_;

    Dispatcher dispatcher_;
};

} // namespace panelkitd
