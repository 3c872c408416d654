// SPDX-License-Identifier: MIT
//
// A PKCS#11 module that lies, crashes or hangs in each of its functions, while eight clients work on the token of
// another module: their commands are carried out, and take at most twice as long as without it.
#include <bench/attack/attack.h>
#include <tests/support/token_workers.h>

#include <panelkit/monitor/monitor_records.h>
#include <panelkit/tokens/tokens_controller.h>
#include <testing/token_module_control.h>
#include <vocabulary/certs.h>
#include <vocabulary/tokens.h>

using panelkit::testing::TokenModuleControl;
using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
namespace tokenField = vocabulary::token;

namespace {

const std::string module = builtProgram(PANELKIT_TEST_TOKEN_FILE);
constexpr std::uint64_t highest = ~std::uint64_t{0}, half = std::uint64_t{1} << 63U;

struct Lie {
    std::string name;
    std::function<void(TokenModuleControl&)> tell;
};

// Those that the service calls; C_CloseSession only after a token was removed.
// clang-format off
constexpr const char* functions[] = {
    "C_Initialize", "C_Finalize", "C_GetInfo", "C_GetFunctionList", "C_GetSlotList", "C_GetTokenInfo",
    "C_GetMechanismList", "C_GetMechanismInfo", "C_InitToken", "C_InitPIN", "C_SetPIN", "C_OpenSession",
    "C_CloseSession", "C_CloseAllSessions", "C_GetSessionInfo", "C_Login", "C_Logout", "C_CreateObject",
    "C_DestroyObject", "C_GetAttributeValue", "C_FindObjectsInit", "C_FindObjects", "C_FindObjectsFinal",
    "C_GenerateKeyPair", "C_SignInit", "C_Sign", "C_SeedRandom", "C_WaitForSlotEvent"};
// clang-format on

// Every function returns success and does nothing, or a result that no standard has.
std::vector<Lie> liesOfAllFunctions() {
    std::vector<Lie> lies;
    for (const std::string name : functions) {
        lies.push_back({name + ": success that did nothing", [name](auto& control) { control.fail(name, 0); }});
        lies.push_back({name + ": a result of 2^64-1", [name](auto& control) { control.fail(name, highest); }});
    }
    return lies;
}

// Every function ends the process, or never returns.
std::vector<Lie> crashesAndHangs() {
    std::vector<Lie> all;
    for (const std::string name : functions) {
        all.push_back({name + ": a crash", [name](auto& c) { c.crash(name); }});
        all.push_back({name + ": no end", [name](auto& c) { c.hang(name); }});
    }
    return all;
}

std::vector<Lie> allLies() {
    std::vector<Lie> lies = {
        {"C_GetSlotList: 10^9 slots", [](auto& c) { c.count("C_GetSlotList", 1'000'000'000); }},
        {"C_GetSlotList: 2^63 slots", [](auto& c) { c.count("C_GetSlotList", half); }},
        {"C_GetSlotList: every slot 200 times", [](auto& c) { c.repeat("C_GetSlotList"); }},
        {"C_GetSlotList: a slot that is not there", [](auto& c) { c.handle("C_GetSlotList", highest); }},
        {"C_GetInfo: no text", [](auto& c) { c.garbage("C_GetInfo"); }},
        {"C_GetInfo: version 255.255", [](auto& c) { c.version("C_GetInfo", 255, 255); }},
        {"C_GetTokenInfo: a label without an end", [](auto& c) { c.garbage("C_GetTokenInfo"); }},
        {"C_GetSessionInfo: nonsense", [](auto& c) { c.garbage("C_GetSessionInfo"); }},
        {"C_GetMechanismList: 2^63 mechanisms", [](auto& c) { c.count("C_GetMechanismList", half); }},
        {"C_OpenSession: a session that is not there", [](auto& c) { c.handle("C_OpenSession", highest); }},
        {"C_CreateObject: an object that is not there", [](auto& c) { c.handle("C_CreateObject", highest); }},
        {"C_GenerateKeyPair: keys that are not there", [](auto& c) { c.handle("C_GenerateKeyPair", highest); }},
        {"C_Sign: 2^63 bytes", [](auto& c) { c.count("C_Sign", half); }},
        {"C_FindObjects: 2^63 objects", [](auto& c) { c.count("C_FindObjects", half); }},
        {"C_FindObjects: without end", [](auto& c) { c.repeat("C_FindObjects"); }},
        {"C_FindObjects: objects that are not there", [](auto& c) { c.handle("C_FindObjects", highest); }},
        {"C_GetAttributeValue: 77777 bytes", [](auto& c) { c.count("C_GetAttributeValue", 77777); }},
        {"C_GetAttributeValue: 2^63 bytes", [](auto& c) { c.count("C_GetAttributeValue", half); }},
        {"C_GetAttributeValue: 2^64-2 bytes", [](auto& c) { c.count("C_GetAttributeValue", highest - 1); }},
        {"C_GetAttributeValue: no text", [](auto& c) { c.garbage("C_GetAttributeValue"); }},
        {"C_GetAttributeValue: 3000 bytes in each", [](auto& c) { c.large(3000); }},
        {"C_GetAttributeValue: 12 MiB in each", [](auto& c) { c.large(12U << 20); }},
        {"C_GetAttributeValue: 32 MiB in each", [](auto& c) { c.large(32U << 20); }},
    };
    for (Lie& lie : liesOfAllFunctions()) lies.push_back(std::move(lie));
    return lies;
}

void append(std::vector<double>& all, const std::vector<double>& more) {
    all.insert(all.end(), more.begin(), more.end());
}

class ALyingModule : public testing::Test {
protected:
    ALyingModule() {
        control.createToken("office", {.label = "Office", .soPin = "so-secret", .userPin = "1234"});
        control.insert("reader", "office");
        closePooledSessions();
        CommandSender::Instance().SetEndpoint(service.endpoint());
    }
    ~ALyingModule() override { closePooledSessions(); }

    ProviderInfo card() const {
        ProviderInfo info;
        info.*vocabulary::provider::path = module;
        info.*vocabulary::provider::name = "card";
        return info;
    }
    bool find(const std::string& label, TokenInfo& found) {
        std::vector<TokenInfo> listed;
        EXPECT_TRUE(controller.EnumProviderTokens(nullptr, listed)) << bridge::lastFailure().text();
        for (const TokenInfo& candidate : listed) {
            if (candidate.*tokenField::label != label) continue;
            found = candidate;
            return true;
        }
        return false;
    }
    TokenInfo safe() {
        TokenInfo token;
        EXPECT_TRUE(find("", token));
        EXPECT_TRUE(controller.TokenInitialize(token, "Safe", "so-pin-1", "user-1", false));
        EXPECT_TRUE(find("Safe", token));
        EXPECT_TRUE(controller.TokenLogin(token, "user-1", false, nullptr)) << bridge::lastFailure().text();
        return token;
    }
    const CertRequestInfo request{.keyType = vocabulary::keyType::rsa,
                                  .keyBits = 2048,
                                  .digest = vocabulary::digest::sha256,
                                  .commonName = "gate.example",
                                  .keyLabel = "gate"};

    // A fresh process with an honest module, and a token with a few objects, which is logged in to.
    TokenInfo loadAgain(Client& client) {
        control.clearFaults();
        control.createToken("office", {.label = "Office", .soPin = "so-secret", .userPin = "1234"});
        control.setTraits("office", {.pretendsKeys = true});
        for (int i = 0; i < 20; ++i) control.storeCertificate("office", "certificate", "no certificate");
        ProviderInfo info = card();
        controller.ProviderUnload(info);
        EXPECT_TRUE(controller.ProviderLoad(info)) << bridge::lastFailure().text();
        TokenInfo office;
        EXPECT_TRUE(find("Office", office));
        EXPECT_TRUE(controller.TokenLogin(office, "1234", false, nullptr)) << bridge::lastFailure().text();
        for (int i = 0; i < 4; ++i) {
            client.send(Command::CreatePresharedKey,
                        encoded(office, "key " + std::to_string(i), std::string("secret value")));
        }
        return office;
    }
    // Every command that reaches the module. Whether it succeeds does not matter: it must end.
    double provoke(Client& client, const TokenInfo& office) {
        const std::pair<Command, std::string> requests[] = {
            {Command::EnumProviderTokens, ""},
            {Command::EnumPresharedKeys, ""},
            {Command::EnumCertificates, encoded(std::int32_t{0})},
            {Command::EnumCRLs, ""},
            {Command::EnumKeys, encoded(office)},
            {Command::EnumCertLabels, encoded(office)},
            {Command::GetStates, ""},
            {Command::GetCertRequestKeyInfo, encoded(office)},
            {Command::CreatePresharedKey, encoded(office, std::string("new"), std::string("secret value"))},
            {Command::DeletePresharedKey, encoded(office, PresharedKeyInfo{"key 1"})},
            {Command::MakeCertRequest, encoded(office, request)},
            {Command::GenerateKey, encoded(office, vocabulary::keyType::rsa, std::uint32_t{2048}, std::string("made"))},
            {Command::InitTokenRNG, encoded(office, std::string("seed"))},
            {Command::TokenChangePassword, encoded(office, std::string("1234"), std::string("5678"), false, false)},
            {Command::TokenLogout, encoded(office)},
            {Command::TokenLogin, encoded(office, std::string("5678"), false)},
            {Command::TokenInitialize,
             encoded(office, std::string("Office"), std::string("so-secret"), std::string("1234"), true)},
            {Command::ProviderUnload, encoded(card())},
            {Command::ProviderLoad, encoded(card())},
            {Command::EnumProviderTokens, ""},
        };
        double longest = 0;
        for (const auto& [command, payload] : requests) {
            const auto start = std::chrono::steady_clock::now();
            client.send(command, payload);
            longest = std::max(longest, attack::millisecondsSince(start));
        }
        return longest;
    }

    void harmsNobody(const std::vector<Lie>& lies);

    TokenModuleControl control;
    RunningService service{
        {"--allow-module", module, "--module-timeout", "5", "--making-timeout", "10", "--token-poll", "1"},
        {{"PANELKIT_TEST_TOKEN_DIR", control.folder()}}};
    VpnTokensController controller;
};

void ALyingModule::harmsNobody(const std::vector<Lie>& lies) {
    const TokenInfo mine = safe();
    Client client;
    loadAgain(client);
    provoke(client, loadAgain(client)); // so that the measure of memory includes what is kept in any case
    loadAgain(client);
    attack::Usage before;
    double worst = 0, longest = 0;
    std::vector<double> undisturbed, disturbed;
    {
        TokenWorkers workers(mine, 8, {{Command::EnumKeys, encoded(mine)}}, 60ms);
        std::this_thread::sleep_for(1s);
        before = attack::usageOf(service);
        int number = 0;
        for (const Lie& lie : lies) {
            SCOPED_TRACE(lie.name);
            TokenInfo office = loadAgain(client);
            if (number++ % 4 == 0) { // the same commands to an honest module
                workers.takeTimes();
                provoke(client, office);
                append(undisturbed, workers.takeTimes());
                office = loadAgain(client);
            }
            workers.takeTimes();
            lie.tell(control);
            const double took = provoke(client, office);
            const std::vector<double> times = workers.takeTimes();
            const double ratio = attack::medianOf(times) / attack::medianOf(undisturbed);
            std::cout << lie.name << ": others " << ratio << " of undisturbed; the longest of its own commands " << took
                      << " ms" << std::endl;
            worst = std::max(worst, ratio);
            longest = std::max(longest, took);
            append(disturbed, times);
            EXPECT_LT(took, 30'000);
            ASSERT_EQ(workers.refusal(), "");
        }
        loadAgain(client);
        attack::expectUsage(service, before, 24U << 20);
    }
    const double ratio = attack::medianOf(disturbed) / attack::medianOf(undisturbed);
    attack::report("faults", static_cast<double>(lies.size()));
    attack::report("commands of the other clients", static_cast<double>(undisturbed.size() + disturbed.size()));
    attack::report("their median against the undisturbed one, all faults", ratio);
    attack::report("the same, worst fault", worst);
    attack::report("longest command to the lying module, ms", longest);
    EXPECT_LE(ratio, 2);
}

// Faults of functions that no command reaches would show nothing.
TEST_F(ALyingModule, IsAskedForEachFunction) {
    Client client;
    const TokenInfo office = loadAgain(client);
    control.recordCalls();
    provoke(client, office);
    for (const std::string function : functions) {
        EXPECT_TRUE(control.calls(function) > 0 || function == "C_CloseSession") << function;
    }
}

TEST_F(ALyingModule, HarmsNobodyElse) { harmsNobody(allLies()); }

TEST_F(ALyingModule, ThatCrashesOrHangsHarmsNobodyElse) { harmsNobody(crashesAndHangs()); }

} // namespace
