// SPDX-License-Identifier: MIT
//
// panelkitd: reads its command line, and serves front ends until it is asked to end or does the one thing that it is
// asked for.
#include <service/base/log.h>
#include <service/certs/openssl_memory.h>
#include <service/daemon.h>
#include <service/exit_status.h>
#include <service/modules/host_process.h>
#include <service/options.h>
#include <service/service_control.h>
#include <service/service_manager.h>
#include <service/termination.h>

#include <platform/stream/stream.h>
#include <platform/system/host.h>

#include <cstdio>
#include <exception>

namespace {

using namespace panelkitd;

void serve(Options options, TerminationRequest& termination) {
    options.inheritedSocket = inheritedSocket(options.endpoint).value_or(-1);
    Daemon daemon(options);
    daemon.serve(termination);
    logEvent("ended");
}

ExitStatus releaseTheFilter() {
    try {
        releaseFilter();
        return ExitStatus::ended;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "panelkitd: %s\n", error.what());
        return ExitStatus::failed;
    }
}

int run(const Options& options) {
    forbidCoreDumps();
    setLogLevel(options.logLevel);
    if (!wipeOpensslMemory()) logError("memory that OpenSSL releases can't be wiped");
    TerminationRequest termination;
    const LogThread logging;
    try {
        serve(options, termination);
        return static_cast<int>(ExitStatus::ended);
    } catch (const std::exception& error) {
        logError(error.what());
        return static_cast<int>(ExitStatus::failed);
    }
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (const auto status = readOptions(platform::utf8Arguments(argc, argv), options)) return *status;
    if (options.releaseFilter) return static_cast<int>(releaseTheFilter());
    if (options.serviceAction) return controlService(*options.serviceAction, options.serviceSetup);
    platform::returnFreedMemory();
    platform::StreamOut::beforeLargeGrowth = platform::adviseHugePages;
    if (!options.hostedModule.empty()) return hostModule(options.hostedModule, options.channel);
    if (options.asService) return serveForManager([&options] { return run(options); });
    return run(options);
}
