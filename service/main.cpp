// SPDX-License-Identifier: MIT
//
// panelkitd: reads its command line, and serves front ends until it is asked to end.
#include <service/daemon.h>
#include <service/defaults.h>
#include <service/log.h>
#include <service/options.h>
#include <service/termination.h>
#include <service/tokens/probe.h>

#include <cstdlib>
#include <exception>

namespace {

using namespace panelkitd;

void serve(const Options& options, TerminationRequest& termination) {
    Daemon daemon(options);
    if (!daemon.serve(termination)) {
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
