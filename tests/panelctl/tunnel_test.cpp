// SPDX-License-Identifier: MIT
//
// panelctl tunnel, and what status and doctor say of the engine, against the scripted service. Runs under Wine too.
#include "../support/panelctl_fixture.h"

#include <panelkit/certs/cert_records.h>
#include <panelkit/lsp/lsp_records.h>
#include <panelkit/monitor/tunnel_records.h>
#include <panelkit/tokens/token_records.h>
#include <vocabulary/refusals.h>

using panelkit::EngineInfo;
using panelkit::TunnelAction;
using panelkit::TunnelCondition;
using panelkit::TunnelInfo;
using vocabulary::Refused;

namespace {

class TunnelVerbs : public PanelctlTest {
protected:
    TunnelVerbs() {
        service.answer<Command::GetEngine>(charon);
        list({up, failing});
        service.on(Command::ActOnTunnel, Reaction::reply(""));
    }
    void list(const std::vector<TunnelInfo>& tunnels) { service.answer<Command::GetTunnels>(tunnels); }
    nlohmann::json finding() {
        for (const auto& one : json({"doctor"})) {
            if (one["check"] == "traffic") return one;
        }
        return {};
    }

    const EngineInfo record{"record", false, true, {{65, "the policy is recorded; no traffic is filtered", {}}}};
    const EngineInfo charon{"charon", true, true, {{65, "traffic is filtered and protected", {}}}};
    const TunnelInfo up{.section = "hq",
                        .network = "10.0.0.0/8",
                        .gateway = "gate.example",
                        .condition = TunnelCondition::up,
                        .since = 1'800'000'000,
                        .address = "192.0.2.1",
                        .credential = "CN=anna",
                        .gatewayIdentity = "CN=gate",
                        .suite = "AES_GCM_16-256",
                        .bytesIn = 5'000'000'000,
                        .bytesOut = 7,
                        .dropped = 3};
    const TunnelInfo failing{.section = "lab\x1B",
                             .network = "any",
                             .gateway = "192.0.2.9",
                             .condition = TunnelCondition::connecting,
                             .why = {{65, "%s does not answer", {"192.0.2.9"}}, {65, "it was asked twice", {}}}};
};

TEST_F(TunnelVerbs, ListTunnelsWithTheReasonsOfThoseThatAreNotUp) {
    EXPECT_EQ(run({"tunnel", "list"}).output,
              "SECTION  STATE         NETWORK     GATEWAY       WHY\n"
              "hq       up            10.0.0.0/8  gate.example  \n"
              "lab\\x1B  being set up  any         192.0.2.9     192.0.2.9 does not answer: it was asked twice\n");
    TunnelInfo later = failing;
    later.condition = static_cast<TunnelCondition>(9);
    list({up, later});
    EXPECT_EQ(json({"tunnel", "list"})[1]["state"], "down") << "a condition of a later service";
}

TEST_F(TunnelVerbs, ShowOne) {
    const auto shown = run({"tunnel", "show", "hq"});
    for (const char* line : {"Since:                    2027-01-15 08:00:00 UTC\n", "CN=gate\n",
                             "Bytes in:                 5000000000\n", "Packets dropped:          3\n"}) {
        EXPECT_THAT(shown.output, HasSubstr(line));
    }
    EXPECT_THAT(shown.output, Not(HasSubstr("Why")));
    EXPECT_EQ(json({"tunnel", "show", "hq"}), nlohmann::json::parse(R"({"schema": 1, "section": "hq",
        "network": "10.0.0.0/8", "gateway": "gate.example", "state": "up", "since": "2027-01-15T08:00:00Z",
        "address": "192.0.2.1", "credential": "CN=anna", "gatewayIdentity": "CN=gate", "suite": "AES_GCM_16-256",
        "bytesIn": 5000000000, "bytesOut": 7, "packetsDropped": 3, "why": ""})"));
    expectError(run({"tunnel", "show", "hr"}), 10, "has no section \"hr\" with a tunnel");
}

TEST_F(TunnelVerbs, SendWhatIsToBeDone) {
    const std::pair<const char*, TunnelAction> rows[] = {
        {"up", TunnelAction::up}, {"down", TunnelAction::down}, {"rekey", TunnelAction::rekey}};
    for (const auto& [verb, action] : rows) {
        EXPECT_EQ(json({"tunnel", verb, "hq"}), (nlohmann::json{{"schema", 1}, {"section", "hq"}, {"action", verb}}));
        EXPECT_EQ(sent(Command::ActOnTunnel), encoded(std::string("hq"), action));
    }
    EXPECT_THAT(run({"tunnel", "down", "hq"}).output, HasSubstr("Its traffic is dropped."));
    service.on(Command::ActOnTunnel, Reaction::refuse("no gateway", static_cast<std::uint32_t>(Refused::engineState)));
    expectError(run({"tunnel", "up", "hq"}), 40, "no gateway");
}

TEST_F(TunnelVerbs, SayWhyThereAreNoTunnels) {
    list({});
    EXPECT_THAT(run({"tunnel", "list"}).error, HasSubstr("The policy in force asks for no tunnels."));
    service.answer<Command::GetEngine>(record);
    EXPECT_THAT(run({"tunnel", "list"}).error, HasSubstr("the policy is recorded; no traffic is filtered"));
    EXPECT_EQ(run({"tunnel", "list", "--json"}).output, "[]\n");
    expectError(run({"tunnel", "show", "hq"}), 10, "no traffic is filtered");
}

TEST_F(TunnelVerbs, AreSummedUpByStatusAndDoctor) {
    service.answer<Command::EnumProviders>(std::vector<PKCS11::ProviderInfo>());
    service.answer<Command::EnumProviderTokens>(std::vector<PKCS11::TokenInfo>());
    service.answer<Command::GetPolicyInfo>(LSPrequest_t(), LSPinfo_t());
    service.on(Command::EnumCertificates, Reaction::reply(encoded(std::uint32_t{0})));
    service.answer<Command::GetUncommitted>(std::vector<panelkit::UncommittedValue>());
    EXPECT_THAT(run({"status"}).output, HasSubstr("Engine:         charon: traffic is filtered and protected\n"
                                                  "Tunnels:        2, up: 1\n"));
    expectHolds(json({"status"}), R"({"tunnels": {"count": 2, "up": 1}, "engine": {"name": "charon"}})");
    EXPECT_EQ(finding()["state"], "warning");
    EXPECT_EQ(finding()["found"], "tunnels that are not up: \"lab\\x1B\"");
    list({up});
    EXPECT_EQ(finding()["state"], "ok");
    service.answer<Command::GetEngine>(record);
    EXPECT_EQ(finding()["found"], "record: the policy is recorded; no traffic is filtered");
    expectHolds(json({"status"}), R"({"tunnels": null, "engine": {"protectsTraffic": false}})");
    service.answer<Command::GetEngine>(EngineInfo{"charon", true, false, {{65, "the filter is gone", {}}}});
    EXPECT_EQ(finding()["state"], "problem");
    service.on(Command::GetEngine, Reaction::refuse("module 1000 has no command 60"));
    expectHolds(json({"status"}), R"({"engine": null})");
    EXPECT_EQ(finding()["state"], "not-checked");
}

} // namespace
