// SPDX-License-Identifier: MIT
//
// panelkitd: reads its command line, loads the providers, and serves front ends until it is asked to end.
#include <service/certs/cert_module.h>
#include <service/config/parameter_module.h>
#include <service/defaults.h>
#include <service/dispatcher.h>
#include <service/log.h>
#include <service/notifications/announcer.h>
#include <service/notifications/token_watcher.h>
#include <service/net/interface_module.h>
#include <service/options.h>
#include <service/policy/policy_module.h>
#include <service/policy/token_credentials.h>
#include <service/state_folder.h>
#include <service/termination.h>
#include <service/tokens/probe.h>
#include <service/tokens/token_module.h>

#include <platform/bridge/endpoint.h>
#include <platform/bridge/server.h>

#include <cstdlib>
#include <exception>
#include <string>

namespace {

using namespace panelkitd;

// What the configuration says of the service itself holds from the start, and from each commit on.
void actOn(Configuration& configuration, Access& access) {
    const auto act = [&access](const Settings& settings) {
        setLogLevel(settings.logLevel);
        access.setAdministratorsGroup(settings.administratorsGroup);
    };
    act(configuration.settings());
    configuration.observe([act](const Settings& settings, const std::vector<std::string>&) { act(settings); });
}

void serve(const Options& options, TerminationRequest& termination) {
    const StateFolder state(options.state);
    configureEmbeddedModule(state.folder("softhsm"));
    Access access(options.usersGroup, options.administratorsGroup);
    Providers providers(state, options.providers);
    Announcer announcer;
    TokenWatcher watcher(providers, announcer, options.tokenPoll);
    TokenModule tokens(providers, watcher);
    CertModule certificates(providers);
    Configuration configuration(state, {options.logLevel, options.administratorsGroup});
    actOn(configuration, access);
    ParameterModule parameters(configuration);
    const bool endpointIsDefault =
        options.endpoint == bridge::systemEndpoint() || options.endpoint == bridge::privateEndpoint();
    if (endpointIsDefault) makeEndpointFolder(options.endpoint);
    InterfaceModule interfaces;
    const TokenCredentials credentials(providers);
    Policies policies(state, credentials);
    PolicyModule policy(policies);
    Dispatcher dispatcher({.tokens = tokens, //
                           .interfaces = interfaces,
                           .policy = policy,
                           .certificates = certificates,
                           .parameters = parameters},
                          access);

    bridge::server::Options bridgeOptions;
    bridgeOptions.service = std::string("panelkitd ") + PANELKIT_VERSION;
    bridgeOptions.listen.users = options.usersGroup;
    bridgeOptions.grace = options.stopGrace;
    bridge::server::Server server(options.endpoint, dispatcher, bridgeOptions);
    const AnnouncingThrough announcing(announcer, server);
    termination.whenAsked([&server, &announcer] {
        logEvent("asked to end");
        announcer.announceServiceStopping();
        server.stop();
    });
    logEvent(bridgeOptions.service + " serves " + options.endpoint);
    if (!server.run() || !watcher.stop(options.stopGrace)) {
        // A module that hangs can't be interrupted. Everything on disk is whole at any moment.
        logError("a command did not end in time and is abandoned");
        std::_Exit(EXIT_FAILURE);
    }
    logEvent("ended");
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (const auto status = readOptions(argc, argv, options)) return *status;
    if (!options.probe.empty()) return runProbe(options.probe);
    forbidCoreDumps();
    setLogLevel(options.logLevel);
    TerminationRequest termination;
    try {
        serve(options, termination);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        logError(error.what());
        return EXIT_FAILURE;
    }
}
