// SPDX-License-Identifier: MIT
//
// Tokens that are full, removed, locked or do not support a command, controlled from outside; and the lifetime of a
// parsed file.
#include "certs_fixture.h"

#include <panelkit/lsp/lsp_controller.h>
#include <platform/bridge/failure.h>
#include <platform/text/ascii.h>
#include <service/certs/parsed_file.h>
#include <service/certs/parsed_files.h>
#include <testing/token_module_control.h>
#include <vocabulary/policy.h>

#include <gmock/gmock.h>

#include <numeric>
#include <thread>

using panelkit::testing::TokenModuleControl;
using PKCS11::TokenInfo;
using testing::HasSubstr;
using testing::IsEmpty;
using vocabulary::CertImport;
using vocabulary::ImportCert;
using vocabulary::ImportCrl;
using vocabulary::ParseResult;
using vocabulary::Refused;
using namespace std::chrono_literals;

namespace {

const Identity root = makeAuthority("Root");
const Identity middle = makeAuthority("Middle", &root);
const Identity user = makeUser("user", middle);
const std::string container = pkcs12(user, {middle.der, root.der}, "secret");
const std::string module = builtProgram(PANELKIT_TEST_TOKEN_FILE);

class Steered {
protected:
    Steered() {
        control.createToken("office", {.label = "Office", .soPin = "so-secret", .userPin = "user-1"});
        control.insert("reader", "office");
    }
    TokenModuleControl control;
};

class TheSteeredToken : private Steered, public WithCertificates {
protected:
    TheSteeredToken()
        : WithCertificates({"--embedded-module", "", "--allow-module", module},
                           {{"PANELKIT_TEST_TOKEN_DIR", Steered::control.folder()}}) {}
    void SetUp() override {
        PKCS11::ProviderInfo info;
        info.*vocabulary::provider::path = module;
        info.*vocabulary::provider::name = "card";
        ASSERT_TRUE(tokens.ProviderLoad(info)) << info.*vocabulary::provider::problem;
        office = token();
        ASSERT_EQ(parse(container, "secret"), ParseResult::parsed);
    }
    TokenModuleControl& steering() { return Steered::control; }
    // What the token's own administrator does, as for instance "p11tool --mark-trusted".
    void markTrusted(const Identity& identity) {
        const std::string bytes = platform::hexText(identity.der);
        for (const auto& entry : std::filesystem::recursive_directory_iterator(steering().folder())) {
            if (!entry.is_regular_file()) continue;
            std::string object = platform::readFile(entry.path().string(), 1 << 20);
            if (object.find(": " + bytes + "\n") == std::string::npos) continue;
            object += std::to_string(0x86) + ": 01\n"; // CKA_TRUSTED
            platform::replaceFile(entry.path().string(), object, true);
        }
    }
    std::uint64_t objects() { return steering().counters("office").objects; }
    ImportCert importTo(const TokenInfo& token, CertImport mode, const char* pin = nullptr) {
        return static_cast<ImportCert>(
            controller->ImportCertificate(token, 0, static_cast<CertImportMode>(mode), false, pin));
    }

    TokenInfo office;
};

TEST_F(TheSteeredToken, ThatIsFullKeepsNothingOfAnImport) {
    login();
    for (std::uint32_t room = 0; room < 5; ++room) {
        steering().setTraits("office", {.capacity = room});
        EXPECT_EQ(import(CertImport::withChain), ImportCert::tokenFull) << room;
        EXPECT_EQ(objects(), 0U) << room;
    }
    steering().setTraits("office", {.capacity = 5});
    EXPECT_EQ(import(CertImport::withChain), ImportCert::imported);
    EXPECT_EQ(objects(), 5U) << "a key pair and three certificates";
    EXPECT_EQ(importCrl(makeCrl({}, root)), ImportCrl::tokenFull);
}

TEST_F(TheSteeredToken, ThatRefusesACertificateKeepsNothingOfTheImport) {
    login();
    steering().setTraits("office", {.largestCertificate = 100});
    EXPECT_EQ(import(CertImport::withPrivateKey), ImportCert::refusedByToken);
    EXPECT_EQ(objects(), 0U);
    EXPECT_THAT(service.terminate().error, HasSubstr("failed (the token does not take this object"));
}

// Anybody can insert a token with a root of their own.
TEST_F(TheSteeredToken, IsTrustedOnlyForWhatItMarksAsTrusted) {
    login();
    ASSERT_EQ(import(CertImport::withChain), ImportCert::imported);
    CertExtentions details;
    const auto shown = [&](const std::string& subject) {
        CertInfo info = named(subject);
        EXPECT_TRUE(controller->GetCertDetails(office, info, details, text));
        const bool trusted = (info.flags & vocabulary::certFlag::trusted) != 0;
        EXPECT_EQ(bridge::lastRemarks().size(), trusted ? 1U : 0U);
        return trusted ? Loc::fill(bridge::lastRemarks().at(0).phrase) : "not trusted";
    };
    EXPECT_FALSE(verifies("CN=user"));
    EXPECT_EQ(text,
              "\"CN=Root\" is signed with its own key and is not trusted: it is not on the service's own token, and "
              "no token marks it with CKA_TRUSTED.");
    EXPECT_FALSE(verifies("CN=Root"));
    EXPECT_EQ(shown("CN=Root"), "not trusted");

    markTrusted(middle);
    EXPECT_TRUE(verifies("CN=user")) << text;
    EXPECT_THAT(text,
                HasSubstr("\"CN=user\", issued by \"CN=Middle\". \"CN=Middle\" is trusted, because token \"Office\" "
                          "marks it with CKA_TRUSTED."));
    EXPECT_EQ(shown("CN=Middle"), "\"CN=Middle\" is trusted, because token \"Office\" marks it with CKA_TRUSTED");
    EXPECT_FALSE(verifies("CN=Root"));
    EXPECT_EQ(shown("CN=Root"), "not trusted");
    markTrusted(root);
    EXPECT_TRUE(verifies("CN=Root")) << text;
    EXPECT_EQ(shown("CN=Root"), "\"CN=Root\" is trusted, because token \"Office\" marks it with CKA_TRUSTED");
}

TEST_F(TheSteeredToken, WantsALogInOrThePinForTheImport) {
    EXPECT_EQ(import(), ImportCert::notLoggedIn);
    EXPECT_EQ(importCrl(makeCrl({}, root)), ImportCrl::notLoggedIn);
    ASSERT_EQ(parse(container, "secret"), ParseResult::parsed);
    EXPECT_EQ(importTo(office, CertImport::withPrivateKey, "user-1"), ImportCert::imported);
    EXPECT_FALSE(token().flags & vocabulary::tokenFlag::loggedIn) << "for that one import only";
    EXPECT_FALSE(controller->DeleteCertificate(office, options[0].certificate));
    EXPECT_EQ(refusal(), Refused::notLoggedIn);

    EXPECT_EQ(importTo(office, CertImport::withChain, "wrong"), ImportCert::wrongPin);
    EXPECT_EQ(importTo(office, CertImport::withChain, ""), ImportCert::wrongPin);
    EXPECT_EQ(static_cast<std::uint32_t>(importTo(office, CertImport::withChain, "user-1")), 3U);
    EXPECT_EQ(refusal(), Refused::finalTry) << "the last try is kept from scripts";
    EXPECT_FALSE(tokens.TokenLogin(office, "wrong", true, nullptr));
    EXPECT_EQ(importTo(office, CertImport::withChain, "user-1"), ImportCert::pinLocked);
    EXPECT_THAT(service.terminate().error, Not(HasSubstr("user-1")));
}

TEST_F(TheSteeredToken, ThatIsWriteProtectedIsNoTarget) {
    steering().setTraits("office", {.writeProtected = true});
    login();
    EXPECT_EQ(import(), ImportCert::writeProtected);
    EXPECT_EQ(parse(container, "secret"), ParseResult::parsed);
    EXPECT_THAT(targets, IsEmpty());
    EXPECT_FALSE(controller->CreatePresharedKey(office, "name", "value"));
    EXPECT_EQ(refusal(), Refused::writeProtected);
}

TEST_F(TheSteeredToken, ThatWasPulledOutIsToldSo) {
    login();
    ASSERT_EQ(import(CertImport::withPrivateKey), ImportCert::imported);
    const CertInfo info = named("CN=user");
    steering().remove("reader");
    EXPECT_THAT(list(), IsEmpty());
    EXPECT_EQ(importTo(office, CertImport::withChain), ImportCert::noSuchToken);
    EXPECT_EQ(static_cast<ImportCrl>(controller->ImportCRL(office, 0)), ImportCrl::noSuchItem);
    CertInfo record = info;
    CertExtentions details;
    std::vector<TokenInfo> places;
    std::vector<CertInfo> chain;
    const auto gone = [&](bool done) { return !done && refusal() == Refused::noSuchToken; };
    EXPECT_TRUE(gone(controller->DeleteCertificate(office, info)));
    EXPECT_TRUE(gone(controller->DeleteCRL(office, {})));
    EXPECT_TRUE(gone(controller->GetCertDetails(office, record, details, text)));
    EXPECT_TRUE(gone(controller->GetCertChain(office, info, places, chain)));
    EXPECT_TRUE(gone(controller->VerifyCert(office, info, 0, &text)));
    EXPECT_TRUE(gone(controller->CreatePresharedKey(office, "name", "value")));
    std::vector<CertRequestKeyInfo> choices;
    EXPECT_TRUE(gone(controller->GetCertRequestKeyInfo(office, choices)));
    CertRequestInfo wish;
    wish.commonName = "gate";
    EXPECT_EQ(static_cast<vocabulary::MakeRequest>(controller->MakeCertRequest(office, wish, text)),
              vocabulary::MakeRequest::noSuchToken);
    steering().insert("reader", "office");
    EXPECT_EQ(importTo(office, CertImport::withChain), ImportCert::notLoggedIn);
}

TEST_F(TheSteeredToken, ThatHangsDoesNotHoldUpThePolicysState) {
    const std::string file = service.folder().file("policy.lsp");
    platform::replaceFile(file, "title = T\nversion = 1\n[a]\naction = protect\ngateway = g\nsubject = CN=nobody\n",
                          true);
    LSPController policy;
    LSPcmd::LSPsettings_t settings;
    settings.Source = 1;
    settings.File = file;
    bool applied = false;
    std::string message;
    ASSERT_TRUE(policy.cmdSetSettings(settings, applied));
    ASSERT_TRUE(policy.cmdActivateSystem(message, "")) << message;
    const auto certificateState = [&] {
        LSPinfo_t info;
        LSPrequest_t required;
        EXPECT_TRUE(policy.cmdGetPolicyInfo(info, required, nullptr, nullptr, false)) << bridge::lastFailure().text();
        return info.certificateState;
    };
    EXPECT_EQ(certificateState(), vocabulary::policyCertificate::missing);
    steering().hang("C_FindObjectsInit");
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 60; ++i)
        EXPECT_EQ(certificateState(), vocabulary::policyCertificate::missing) << "as last seen";
    EXPECT_LT(std::chrono::steady_clock::now() - start, 20s) << "if each waited as the first one does: a minute";
    steering().clearFaults();
}

// The token is removed between one object and the next.
TEST_F(TheSteeredToken, ThatIsPulledOutMeanwhileIsToldSo) {
    login();
    steering().recordCalls();
    steering().slow("C_CreateObject", 300ms);
    std::thread hand([&] {
        EXPECT_TRUE(steering().waitForCalls("C_CreateObject", 2));
        steering().remove("reader");
    });
    EXPECT_EQ(import(CertImport::withChain), ImportCert::noSuchToken);
    hand.join();
}

TEST_F(TheSteeredToken, ThatMakesNoKeysSaysSo) {
    login();
    std::vector<CertRequestKeyInfo> choices;
    EXPECT_TRUE(controller->GetCertRequestKeyInfo(office, choices)) << bridge::lastFailure().text();
    EXPECT_THAT(choices, IsEmpty());
    CertRequestInfo wish;
    wish.commonName = "gate";
    EXPECT_EQ(static_cast<vocabulary::MakeRequest>(controller->MakeCertRequest(office, wish, text)),
              vocabulary::MakeRequest::keyUnfit);
}

TEST_F(TheSteeredToken, ThatAnswersNonsenseIsListedAsItIs) {
    login();
    ASSERT_EQ(import(CertImport::withChain), ImportCert::imported);
    steering().garbage("C_GetAttributeValue");
    for (const CertInfo& info : list()) {
        EXPECT_EQ(info.state, static_cast<std::uint32_t>(vocabulary::CertState::unreadable));
    }
    steering().clearFaults();
    steering().count("C_GetAttributeValue", 1'000'000'000);
    list();
    steering().clearFaults();
    EXPECT_EQ(list().size(), 3U);
}

// "There are none" would be the wrong answer.
TEST_F(TheSteeredToken, ThatCantBeReadMakesEveryListIncomplete) {
    login();
    ASSERT_EQ(import(CertImport::withChain), ImportCert::imported);
    CertInfo info = list().at(0);
    constexpr std::uint32_t deviceError = 0x30, deviceRemoved = 0x32;
    const auto expectIncomplete = [&](bool answered) {
        EXPECT_TRUE(answered) << bridge::lastFailure().text();
        ASSERT_FALSE(bridge::lastRemarks().empty());
        EXPECT_EQ(static_cast<Refused>(bridge::lastRemarks()[0].code), Refused::incomplete);
        EXPECT_THAT(panelkitd::inEnglish(bridge::lastRemarks()), HasSubstr("the token \"Office\" could not be read"));
    };
    std::vector<TokenInfo> places;
    std::vector<CertInfo> certificates;
    std::vector<CRLInfo> lists;
    std::vector<PresharedKeyInfo> keys;
    CertExtentions details;
    steering().fail("C_FindObjectsInit", deviceError);
    expectIncomplete(controller->EnumCertificates(0, certificates, places));
    expectIncomplete(controller->EnumCRLs(lists, places));
    expectIncomplete(controller->EnumPresharedKeys(keys, places));
    EXPECT_FALSE(controller->GetCertDetails(office, info, details, text));
    EXPECT_EQ(refusal(), Refused::incomplete);
    steering().clearFaults();
    steering().fail("C_FindObjects", deviceRemoved);
    expectIncomplete(controller->EnumCertificates(0, certificates, places));
    steering().clearFaults();
    steering().fail("C_GetAttributeValue", deviceRemoved);
    expectIncomplete(controller->EnumCertificates(0, certificates, places));
    steering().clearFaults();
    steering().count("C_FindObjects", 1'000'000'000);
    expectIncomplete(controller->EnumCertificates(0, certificates, places));
    steering().clearFaults();
    EXPECT_EQ(list().size(), 3U);
    EXPECT_THAT(service.terminate().error, HasSubstr("the token reports an error"));
}

// The cost of a listing is measured in bench/listing.cpp; this test checks that it does not grow faster than the number
// of objects.
TEST_F(TheSteeredToken, IsAskedOnceForEachOfManyCertificates) {
    login();
    steering().recordCalls();
    std::size_t stored = 0;
    for (const std::size_t many : {20U, 40U}) {
        for (; stored < many; ++stored) {
            ASSERT_EQ(importFile(makeUser("user " + std::to_string(stored), middle).der), ImportCert::imported);
        }
        const std::uint64_t before = steering().calls("C_GetAttributeValue");
        EXPECT_EQ(list().size(), many);
        EXPECT_LE(steering().calls("C_GetAttributeValue") - before, many);
    }
}

// ---- parsed files

TEST_F(TheSteeredToken, TakesNothingThatAnotherSessionParsed) {
    login();
    EXPECT_EQ(import(CertImport::certificateOnly, 3), ImportCert::noSuchItem);
    for (const std::uint32_t number : {3U, 7U, 31U, 32U, 8192U}) {
        EXPECT_EQ(import(static_cast<CertImport>(number)), ImportCert::modeUnfit) << number;
    }
    BridgeSession* other = CommandSender::Instance().OpenNewSession("Other", 1);
    std::string request, reply;
    CommandStreamOut(request).append(token(), std::uint32_t{0}, std::uint32_t{0}, false);
    ASSERT_TRUE(
        other->__SendCommand(ModuleCertificates, 5, request.data(), static_cast<unsigned>(request.size()), &reply));
    EXPECT_EQ(reply, std::string("\2\0\0\0", 4));
    CommandSender::Instance().CloseSession(other);
    EXPECT_EQ(import(), ImportCert::imported) << "the session that parsed it still has it";

    controller.reset();
    closePooledSessions();
    controller = std::make_unique<VpnCertsSilentController>();
    EXPECT_EQ(import(), ImportCert::noSuchItem) << "it went with its session";
}

// Each session keeps the file that it parsed last, so that one account could fill the memory.
TEST_F(TheSteeredToken, KeepsOnlySoMuchOfAnAccount) {
    const auto parseIn = [](BridgeSession* session, const std::string& file) {
        std::string request;
        CommandStreamOut(request).append(file, std::string());
        return session->__SendCommand(ModuleCertificates, 4, request.data(), static_cast<unsigned>(request.size()),
                                      nullptr);
    };
    const std::string large = std::string(40U << 20, 'x') + "\n" + pem(middle.der); // an account may keep 64 MiB
    CommandSender& sender = CommandSender::Instance();
    BridgeSession* one = sender.OpenNewSession("One", 1);
    BridgeSession* other = sender.OpenNewSession("Other", 1);
    EXPECT_TRUE(parseIn(one, large)) << bridge::lastFailure().text();
    EXPECT_FALSE(parseIn(other, large));
    EXPECT_EQ(bridge::lastFailure().detail, static_cast<std::uint32_t>(Refused::overBudget));
    EXPECT_TRUE(parseIn(one, large)) << "it takes the place of the former one";
    sender.CloseSession(one);
    bool parsed = false;
    for (int i = 0; i < 100 && !parsed; ++i) parsed = parseIn(other, large);
    EXPECT_TRUE(parsed) << "it was given back with its session";
    sender.CloseSession(other);
}

TEST(AParsedFile, IsForgottenAfterItsTime) {
    bridge::AccountBudget budget({.all = 10});
    const auto share = [&budget] {
        auto taken = std::make_shared<bridge::AccountBudget::Share>(budget, "1000", false);
        EXPECT_TRUE(taken->take(10));
        return taken;
    };
    panelkitd::ParsedFiles files(100ms);
    const std::weak_ptr<const panelkitd::ParsedFile> watched = [&] {
        auto file = std::make_shared<const panelkitd::ParsedFile>();
        files.keep(1, file, share());
        return std::weak_ptr<const panelkitd::ParsedFile>(file);
    }();
    EXPECT_TRUE(files.find(1));
    for (int i = 0; i < 500 && !watched.expired(); ++i) std::this_thread::sleep_for(10ms);
    EXPECT_TRUE(watched.expired()) << "without anybody asking";
    EXPECT_FALSE(files.find(1));
    EXPECT_EQ(budget.used(), 0U);
    files.keep(2, std::make_shared<const panelkitd::ParsedFile>(), share());
    files.forget(2);
    EXPECT_FALSE(files.find(2));
    EXPECT_EQ(budget.used(), 0U);
}

// Any user can send lists for import; the parsed lists must not stay in memory for ever.
TEST(TheFactsOfCrls, AreKeptUpToSoManyBytes) {
    std::vector<long> serials(60'000);
    std::iota(serials.begin(), serials.end(), 1);
    panelkitd::FactsCache cache;
    std::vector<std::weak_ptr<const panelkitd::CrlFacts>> given;
    std::size_t bytes = 0;
    for (long number = 1; bytes < (10U << 20); ++number) {
        const std::string der = makeCrl({.revoked = serials, .number = number}, root);
        bytes += der.size();
        given.emplace_back(cache.crl(der));
        EXPECT_EQ(cache.crl(der), given.back().lock()) << "the newest is found again";
    }
    EXPECT_TRUE(given.front().expired());
}

} // namespace
