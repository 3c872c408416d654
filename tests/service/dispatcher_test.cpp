// SPDX-License-Identifier: MIT
//
// Of which commands the dispatcher says that they have changed objects on tokens: the engine then reads the tokens
// again.
#include <service/certs/cert_commands.h>
#include <service/config/configuration.h>
#include <service/config/parameter_commands.h>
#include <service/dispatcher.h>
#include <service/engine/record_engine.h>
#include <service/monitor/monitor_commands.h>
#include <service/net/interface_commands.h>
#include <service/notifications/announcer.h>
#include <service/policy/policies.h>
#include <service/policy/policy_commands.h>
#include <service/policy/token_credentials.h>
#include <service/state/state_folder.h>
#include <service/tokens/providers.h>
#include <service/tokens/token_commands.h>
#include <service/tokens/token_watcher.h>

#include "../support/running_service.h"
#include "../support/test.h"

#include <panelkit/bridge/commands.h>

using namespace panelkitd;
using panelkit::Command;

namespace {

// The parts of a service without modules.
struct Parts {
    const TemporaryFolder folder;
    StateFolder state{folder.file("state")};
    Access access{"users", ""};
    Configuration configuration{state, {}};
    Announcer announcer;
    RecordEngine engine;
    Providers providers{state, {}};
    CertCommands certificates{providers, configuration, KeyUse::stored};
    TokenCredentials credentials{[] { return CredentialList(); }};
    TokenWatcher watcher{providers, announcer, std::chrono::hours(1), [] {}, UnattendedLogins({}), [](const auto&) {}};
    TokenCommands tokens{providers, watcher};
    ParameterCommands parameters{configuration, announcer};
    InterfaceCommands interfaces;
    Policies policies{state, credentials, engine, [](const PolicyNews&) {}};
    PolicyCommands policy{policies, [](const LSPcmd::LSPsettings_t&, const std::string&) {}};
    MonitorCommands monitor{providers, certificates, configuration, engine, policies};
};

// Every command without its fields: it fails, or does what it can without them.
TEST(ADispatcher, TellsOfEachCommandThatCanHaveChangedATokenAndOfNoOther) {
    const std::set<Command> changing{
        Command::TokenInitialize,        Command::DeleteCertificate,  Command::ImportCertificate,
        Command::ImportCertificates,     Command::ImportCRL,          Command::DeleteCRL,
        Command::CreatePresharedKey,     Command::DeletePresharedKey, Command::MakeCertRequest,
        Command::MakeCertRequestWithPin, Command::GenerateKey,        Command::DeleteKey,
        Command::DeleteCertAndKey};
    Parts parts;
    int told = 0;
    Dispatcher dispatcher({.tokens = parts.tokens,
                           .certificates = parts.certificates,
                           .parameters = parts.parameters,
                           .interfaces = parts.interfaces,
                           .policy = parts.policy,
                           .monitor = parts.monitor},
                          parts.access, [&] { ++told; });
    bridge::server::Session administrator{.name = "a", .peer = {"0", {}, true}},
        stranger{.name = "s", .peer = {"7", {}, false}};
    for (const panelkit::CommandRow& row : panelkit::commandTable) {
        SCOPED_TRACE(row.name);
        std::string none;
        const bridge::server::Request request{row.module, row.code, none};
        told = 0;
        dispatcher.handle(administrator, request);
        EXPECT_EQ(told, changing.contains(row.command) ? 1 : 0);
        told = 0;
        dispatcher.handle(stranger, request);
        EXPECT_EQ(told, 0) << "it was not allowed";
    }
}

} // namespace
