// SPDX-License-Identifier: MIT
//
// panelkitd: reads its command line, loads the providers, and serves front ends until it is asked to end.
#include <service/certs/cert_module.h>
#include <service/defaults.h>
#include <service/dispatcher.h>
#include <service/log.h>
#include <service/options.h>
#include <service/state_folder.h>
#include <service/termination.h>
#include <service/tokens/probe.h>
#include <service/tokens/token_module.h>

#include <platform/bridge/server.h>

#include <cstdlib>
#include <exception>
#include <string>

namespace {

using namespace panelkitd;

void serve(const Options& options, TerminationRequest& termination) {
    const StateFolder state(options.state);
    configureEmbeddedModule(state.folder("softhsm"));
    Access access(options.usersGroup, options.administratorsGroup);
    Providers providers(state, options.providers);
    TokenModule tokens(providers);
    CertModule certificates(providers);
    Dispatcher dispatcher({tokens, certificates}, access);

    bridge::server::Options bridgeOptions;
    bridgeOptions.service = std::string("panelkitd ") + PANELKIT_VERSION;
    bridgeOptions.listen.users = options.usersGroup;
    bridgeOptions.grace = options.stopGrace;
    bridge::server::Server server(options.endpoint, dispatcher, bridgeOptions);
    termination.whenAsked([&server] {
        logEvent("asked to end");
        server.stop();
    });
    logEvent(bridgeOptions.service + " serves " + options.endpoint);
    if (!server.run()) {
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
