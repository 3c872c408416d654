// SPDX-License-Identifier: MIT
//
// Tokens that are full, removed, locked or do not support a command, controlled from outside; and the lifetime of a
// parsed file.
#include "certs_fixture.h"
#include "steered_token.h"

#include <panelkit/certs/cert_imports.h>
#include <platform/bridge/failure.h>
#include <platform/text/ascii.h>
#include <service/certs/parsed_file.h>
#include <service/certs/parsed_files.h>

#include <numeric>

namespace {

const Identity root = makeAuthority("Root");
const Identity middle = makeAuthority("Middle", &root);
const Identity user = makeUser("user", middle);
const std::string container = pkcs12(user, {middle.der, root.der}, "secret");

class TheSteeredToken : public Steered<WithCertificates> {
protected:
    void SetUp() override {
        load();
        office = token();
        ASSERT_EQ(parse(container, "secret"), ParseResult::parsed);
    }
    // What the token's own administrator does, as for instance "p11tool --mark-trusted".
    void markTrusted(const Identity& identity) {
        edit(": " + platform::hexText(identity.der) + "\n", [](std::string& object) {
            object += std::to_string(0x86) + ": 01\n"; // CKA_TRUSTED
        });
    }
    // Changes the files of the objects that have the text.
    void edit(const std::string& part, const std::function<void(std::string&)>& change) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(control.folder())) {
            if (!entry.is_regular_file()) continue;
            std::string object = "\n" + platform::readFile(entry.path().string(), 1 << 20);
            if (object.find(part) == std::string::npos) continue;
            change(object);
            platform::replaceFile(entry.path().string(), object.substr(1), true);
        }
    }
    // Changes the digits of an attribute of the private keys.
    void changePrivateKeys(unsigned type, const std::function<std::string(const std::string&)>& change) {
        // CKA_CLASS is CKO_PRIVATE_KEY; a CK_ULONG has four bytes on Windows and eight elsewhere.
        const std::string isPrivateKey = "\n0: 03" + std::string(2 * (sizeof(unsigned long) - 1), '0') + "\n";
        edit(isPrivateKey, [&](std::string& object) {
            const std::string name = "\n" + std::to_string(type) + ": ";
            const std::size_t begin = object.find(name) + name.size(), end = object.find('\n', begin);
            object.replace(begin, end - begin, change(object.substr(begin, end - begin)));
        });
    }
    std::uint64_t objects() { return control.counters("office").objects; }
    ImportCert importTo(const TokenInfo& token, CertImport mode, const char* pin = nullptr) {
        return static_cast<ImportCert>(
            controller->ImportCertificate(token, 0, static_cast<CertImportMode>(mode), false, pin));
    }

    TokenInfo office;
};

TEST_F(TheSteeredToken, ThatIsFullKeepsNothingOfAnImport) {
    login();
    for (std::uint32_t room = 0; room < 5; ++room) {
        control.setTraits("office", {.capacity = room});
        EXPECT_EQ(import(CertImport::withChain), ImportCert::tokenFull) << room;
        EXPECT_EQ(objects(), 0U) << room;
    }
    control.setTraits("office", {.capacity = 5});
    EXPECT_EQ(import(CertImport::withChain), ImportCert::imported);
    EXPECT_EQ(objects(), 5U) << "a key pair and three certificates";
    EXPECT_EQ(importCrl(makeCrl({}, root)), ImportCrl::tokenFull);
}

TEST_F(TheSteeredToken, ThatRefusesACertificateKeepsNothingOfTheImport) {
    login();
    control.setTraits("office", {.largestCertificate = 100});
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

TEST_F(TheSteeredToken, ExportsNoSensitiveKeyAndNoneOfAnotherCertificate) {
    login();
    ASSERT_EQ(parse(container, "secret"), ParseResult::parsed);
    ASSERT_EQ(static_cast<ImportCert>(controller->ImportCertificate(
                  office, 0, static_cast<CertImportMode>(CertImport::withPrivateKey), true, nullptr)),
              ImportCert::imported);
    const auto exportKey = [this] {
        return exportAs(vocabulary::CertExport::pkcs12, named("CN=user"), "pass", false, true);
    };
    EXPECT_EQ(exportKey(), vocabulary::ExportCert::exported) << content;
    changePrivateKeys(0x11, [](const auto&) { return std::string(64, '1'); }); // CKA_VALUE: another private number
    EXPECT_EQ(exportKey(), vocabulary::ExportCert::keyNotExtractable);
    changePrivateKeys(0x103, [](const auto&) { return "01"; }); // CKA_SENSITIVE
    EXPECT_FALSE(named("CN=user").flags & vocabulary::certFlag::keyExtractable);
}

TEST_F(TheSteeredToken, FindsAnRsaKeyByItsModulusThoughTheTokenStoresZerosBeforeIt) {
    login();
    const Identity numbers = makeCertificate({.subject = {{"CN", "numbers"}}}, rsaKey(2048), &root);
    ASSERT_EQ(importFile(pkcs12(numbers, {}, "secret"), "secret", CertImport::withPrivateKey), ImportCert::imported);
    changePrivateKeys(0x102, [](const auto&) { return "4242"; });                        // CKA_ID
    changePrivateKeys(0x120, [](const std::string& modulus) { return "00" + modulus; }); // CKA_MODULUS
    EXPECT_TRUE(named("CN=numbers").hasPrivateKey);
    changePrivateKeys(0x120, [](const std::string& modulus) { return "0001" + modulus.substr(4); });
    EXPECT_FALSE(named("CN=numbers").hasPrivateKey);
}

TEST_F(TheSteeredToken, WithoutSecretKeysKeepsPresharedKeysAsPrivateData) {
    control.setTraits("office", {.noSecretKeys = true});
    login();
    const auto count = [this] {
        std::vector<PresharedKeyInfo> keys;
        std::vector<TokenInfo> places;
        EXPECT_TRUE(controller->EnumPresharedKeys(keys, places));
        return keys.size();
    };
    EXPECT_TRUE(controller->CreatePresharedKey(office, "key", "value")) << bridge::lastFailure().text();
    EXPECT_EQ(count(), 1U);
    logout();
    EXPECT_EQ(count(), 0U);
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
    control.storeCertificate("office", "root", root.der);
    EXPECT_TRUE(named("CN=Root").flags & vocabulary::certFlag::canDelete);
    control.setTraits("office", {.writeProtected = true});
    EXPECT_FALSE(named("CN=Root").flags & vocabulary::certFlag::canDelete);
    login();
    EXPECT_EQ(import(), ImportCert::writeProtected);
    EXPECT_EQ(parse(container, "secret"), ParseResult::parsed);
    EXPECT_THAT(targets, IsEmpty());
    EXPECT_FALSE(controller->CreatePresharedKey(office, "name", "value"));
    EXPECT_EQ(refusal(), Refused::writeProtected);
}

TEST_F(TheSteeredToken, IsReportedAsMissingAfterItWasRemoved) {
    login();
    ASSERT_EQ(import(CertImport::withPrivateKey), ImportCert::imported);
    const CertInfo info = named("CN=user");
    control.remove("reader");
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
    const CertRequestInfo wish{.commonName = "gate"};
    EXPECT_EQ(static_cast<vocabulary::MakeRequest>(controller->MakeCertRequest(office, wish, text)),
              vocabulary::MakeRequest::noSuchToken);
    control.insert("reader", "office");
    EXPECT_EQ(importTo(office, CertImport::withChain), ImportCert::notLoggedIn);
}

// The token is removed between one object and the next.
TEST_F(TheSteeredToken, IsReportedAsMissingWhenItIsRemovedDuringAnImport) {
    login();
    control.recordCalls();
    control.slow("C_CreateObject", 300ms);
    std::thread hand([&] {
        EXPECT_TRUE(control.waitForCalls("C_CreateObject", 2));
        control.remove("reader");
    });
    EXPECT_EQ(import(CertImport::withChain), ImportCert::noSuchToken);
    hand.join();
}

TEST_F(TheSteeredToken, ThatMakesNoKeysSaysSo) {
    login();
    std::vector<CertRequestKeyInfo> choices;
    EXPECT_TRUE(controller->GetCertRequestKeyInfo(office, choices)) << bridge::lastFailure().text();
    EXPECT_THAT(choices, IsEmpty());
    const CertRequestInfo wish{.commonName = "gate"};
    EXPECT_EQ(static_cast<vocabulary::MakeRequest>(controller->MakeCertRequest(office, wish, text)),
              vocabulary::MakeRequest::keyUnfit);
}

// Its signatures are random bytes.
TEST_F(TheSteeredToken, ThatSignsWronglyMakesNoRequestAndKeepsNoKey) {
    control.setTraits("office", {.pretendsKeys = true});
    login();
    const CertRequestInfo wish{.keyType = vocabulary::keyType::rsa,
                               .keyBits = 2048,
                               .digest = vocabulary::digest::sha256,
                               .commonName = "gate"};
    EXPECT_NE(static_cast<vocabulary::MakeRequest>(controller->MakeCertRequest(office, wish, text)),
              vocabulary::MakeRequest::made);
    EXPECT_EQ(objects(), 0U);
    std::vector<CertRequestKeyInfo> choices;
    EXPECT_TRUE(controller->GetCertRequestKeyInfo(office, choices));
    EXPECT_FALSE(choices.empty()) << "it was tried";
}

TEST_F(TheSteeredToken, ThatAnswersNonsenseIsListedAsItIs) {
    login();
    ASSERT_EQ(import(CertImport::withChain), ImportCert::imported);
    control.garbage("C_GetAttributeValue");
    for (const CertInfo& info : list()) {
        EXPECT_EQ(info.state, static_cast<std::uint32_t>(vocabulary::CertState::unreadable));
    }
    control.clearFaults();
    control.count("C_GetAttributeValue", 1'000'000'000);
    list();
    control.clearFaults();
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
    control.fail("C_FindObjectsInit", deviceError);
    expectIncomplete(controller->EnumCertificates(0, certificates, places));
    expectIncomplete(controller->EnumCRLs(lists, places));
    expectIncomplete(controller->EnumPresharedKeys(keys, places));
    EXPECT_FALSE(controller->GetCertDetails(office, info, details, text));
    EXPECT_EQ(refusal(), Refused::incomplete);
    control.clearFaults();
    control.fail("C_FindObjects", deviceRemoved);
    expectIncomplete(controller->EnumCertificates(0, certificates, places));
    control.clearFaults();
    control.fail("C_GetAttributeValue", deviceRemoved);
    expectIncomplete(controller->EnumCertificates(0, certificates, places));
    control.clearFaults();
    control.count("C_FindObjects", 1'000'000'000);
    expectIncomplete(controller->EnumCertificates(0, certificates, places));
    control.clearFaults();
    EXPECT_EQ(list().size(), 3U);
    // Nothing is known yet of what is in the reader.
    control.remove("reader");
    EXPECT_THAT(list(), IsEmpty());
    control.insert("reader", "office");
    control.fail("C_GetSlotList", deviceError);
    EXPECT_THAT(list(), IsEmpty());
    EXPECT_EQ(static_cast<Refused>(bridge::lastRemarks().at(0).code), Refused::incomplete);
    EXPECT_THAT(service.terminate().error, HasSubstr("the token reports an error"));
}

// The cost of a listing is measured in bench/listing.cpp; this test checks that it does not grow faster than the number
// of objects.
TEST_F(TheSteeredToken, IsAskedOnceForEachOfManyCertificates) {
    login();
    control.recordCalls();
    std::size_t stored = 0;
    for (const std::size_t many : {20U, 40U}) {
        for (; stored < many; ++stored) {
            ASSERT_EQ(importFile(makeUser("user " + std::to_string(stored), middle).der), ImportCert::imported);
        }
        const std::uint64_t before = control.calls("C_GetAttributeValue");
        EXPECT_EQ(list().size(), many);
        EXPECT_LE(control.calls("C_GetAttributeValue") - before, many);
    }
}

// Each search takes some tokens as long as reading everything.
TEST_F(TheSteeredToken, IsReadOnceForTheImportsOfABundle) {
    login();
    control.recordCalls();
    std::string bundle;
    for (int i = 0; i < 30; ++i) {
        const Identity one = makeUser("user " + std::to_string(i), middle);
        bundle += pem(one.der) + (i % 10 == 5 ? keyPem(one.key) : "");
    }
    ASSERT_EQ(parse(bundle), ParseResult::parsed);
    const std::uint64_t before = control.calls("C_FindObjectsInit");
    for (std::uint32_t item = 0; item < 30; ++item) {
        const bool withKey = options[item].certificate.hasPrivateKey;
        EXPECT_EQ(import(withKey ? CertImport::withPrivateKey : CertImport::certificateOnly, item),
                  ImportCert::imported);
    }
    EXPECT_LE(control.calls("C_FindObjectsInit") - before, 45U) << "searching for each would take three times 30";
    EXPECT_EQ(list().size(), 30U);
    EXPECT_EQ(list(vocabulary::CertSelector::withPrivateKey).size(), 3U);
}

TEST_F(TheSteeredToken, IsSeenAsItIsBetweenTheImportsOfABundle) {
    control.createToken("second", {.label = "Second", .soPin = "so-secret", .userPin = "user-1"});
    control.insert("second-reader", "second");
    login();
    login("Second");
    const Identity first = makeUser("first", middle), keyed = makeUser("keyed", middle);
    ASSERT_EQ(parse(pem(first.der) + pem(user.der) + pem(keyed.der) + keyPem(keyed.key)), ParseResult::parsed);
    const auto importItem = [&](std::uint32_t item, CertImport mode = CertImport::certificateOnly) {
        return static_cast<ImportCert>(
            controller->ImportCertificate(office, item, static_cast<CertImportMode>(mode), false, nullptr));
    };
    ASSERT_EQ(importItem(0), ImportCert::imported);
    ASSERT_EQ(importItem(1), ImportCert::imported);
    EXPECT_EQ(importItem(0), ImportCert::alreadyThere) << "it was imported by a search";
    EXPECT_EQ(importItem(1), ImportCert::alreadyThere) << "the token had been read before";
    EXPECT_EQ(importTo(token("Second"), CertImport::certificateOnly), ImportCert::imported) << "another token";
    EXPECT_EQ(importItem(2), ImportCert::imported);
    EXPECT_EQ(importItem(2, CertImport::withPrivateKey), ImportCert::imported) << "its key is new";
    EXPECT_EQ(importItem(2, CertImport::withPrivateKey), ImportCert::alreadyThere);
    EXPECT_TRUE(named("CN=keyed").hasPrivateKey) << "one identifier links them";
    ASSERT_TRUE(controller->DeleteCertificate(office, named("CN=user")));
    EXPECT_EQ(importItem(1), ImportCert::imported) << "it was deleted meanwhile";
}

// ---- several in one command

class SeveralImports : public TheSteeredToken {
protected:
    void SetUp() override {
        TheSteeredToken::SetUp();
        login();
        std::string bundle;
        for (int i = 0; i < 4; ++i) bundle += pem(makeUser("user " + std::to_string(i), middle).der);
        ASSERT_EQ(parse(bundle + pem(keyed.der) + keyPem(keyed.key)), ParseResult::parsed);
    }
    std::vector<ImportCert> importThese(const std::vector<std::uint32_t>& items,
                                        CertImport last = CertImport::certificateOnly, const char* pin = nullptr) {
        std::vector<panelkit::ImportItem> wanted;
        for (const std::uint32_t item : items) wanted.push_back({item, {}, false});
        if (!wanted.empty()) wanted.back().mode = static_cast<CertImportMode>(last);
        std::vector<ImportCertResult> results;
        carriedOut = panelkit::importCertificates(*controller, office, wanted, pin, results);
        std::vector<ImportCert> named(results.size());
        std::transform(results.begin(), results.end(), named.begin(),
                       [](ImportCertResult result) { return static_cast<ImportCert>(result); });
        return named;
    }

    const Identity keyed = makeUser("keyed", middle);
    bool carriedOut = false;
};

TEST_F(SeveralImports, AreStoredUpToTheFirstThatFails) {
    using enum ImportCert;
    ASSERT_THAT(importThese({1}), ElementsAre(imported));
    control.setTraits("office", {.capacity = 3});
    EXPECT_THAT(importThese({0, 1, 2, 3}), ElementsAre(imported, alreadyThere, imported, tokenFull));
    EXPECT_EQ(objects(), 3U);
    EXPECT_EQ(bridge::lastRemarks().at(0).code, static_cast<std::uint32_t>(vocabulary::Refused::tokenFull));
    control.setTraits("office", {.capacity = 30});
    EXPECT_THAT(importThese({3, 3, 2}, CertImport::withPrivateKey), ElementsAre(imported, alreadyThere, modeUnfit));
    EXPECT_THAT(importThese({4, 99, 0}, CertImport::withPrivateKey), ElementsAre(imported, noSuchItem));
    EXPECT_THAT(importThese({4, 4}, CertImport::withPrivateKey), ElementsAre(alreadyThere, imported)) << "its key";
    EXPECT_TRUE(named("CN=keyed").hasPrivateKey);
    EXPECT_THAT(importThese({0, 1}), ElementsAre(alreadyThere, alreadyThere));
    const std::string log = service.terminate().error;
    for (const char* part : {"user 0\": done", "user 1\": failed (the token has it already)", "user 2\": done",
                             "user 3\": failed (the token is full (C_CreateObject: CKR_DEVICE_MEMORY))"}) {
        EXPECT_THAT(log, HasSubstr(std::string(", \"CN=") + part));
    }
}

TEST_F(SeveralImports, AreStoredBeforeAKeyThatNoTokenTakes) {
    const Identity unfit = makeCertificate({.subject = {{"CN", "unfit"}}}, pssKey(), &middle);
    ASSERT_EQ(parse(pem(user.der) + pem(unfit.der) + keyPem(unfit.key)), ParseResult::parsed);
    EXPECT_THAT(importThese({0, 1}, CertImport::withPrivateKey),
                ElementsAre(ImportCert::imported, ImportCert::notSupported));
    EXPECT_EQ(objects(), 1U);
}

TEST_F(SeveralImports, AreCountedAndNeedAParsedFileAndALogIn) {
    EXPECT_THAT(importThese({}), IsEmpty());
    EXPECT_FALSE(carriedOut);
    EXPECT_THAT(importThese(std::vector<std::uint32_t>(257)), IsEmpty());
    EXPECT_FALSE(carriedOut);
    EXPECT_EQ(importThese(std::vector<std::uint32_t>(256)).size(), 256U) << "the first, 255 times more";
    logout();
    EXPECT_THAT(importThese({1, 2}), ElementsAre(ImportCert::notLoggedIn));
    EXPECT_THAT(importThese({1, 2}, {}, "wrong"), ElementsAre(ImportCert::wrongPin));
    EXPECT_THAT(importThese({1, 2}, {}, "user-1"), ElementsAre(ImportCert::imported, ImportCert::imported));
    EXPECT_THAT(importThese({3}), ElementsAre(ImportCert::notLoggedIn)) << "logged in for one command";
    ASSERT_TRUE(controller->ReloadAll(true));
    EXPECT_THAT(importThese({3}, {}, "user-1"), ElementsAre(ImportCert::noSuchItem));
}

// ---- parsed files

TEST_F(TheSteeredToken, TakesNothingThatAnotherSessionParsed) {
    login();
    EXPECT_EQ(import(CertImport::certificateOnly, 3), ImportCert::noSuchItem);
    for (const std::uint32_t number : {3U, 7U, 31U, 32U, 8192U}) {
        EXPECT_EQ(import(static_cast<CertImport>(number)), ImportCert::modeUnfit) << number;
    }
    std::string request, reply;
    CommandStreamOut(request).append(token(), std::uint32_t{0}, std::uint32_t{0}, false);
    ASSERT_TRUE(Client().send(panelkit::Command::ImportCertificate, request, &reply));
    EXPECT_EQ(reply, std::string("\2\0\0\0", 4));
    EXPECT_EQ(import(), ImportCert::imported) << "the session that parsed it still has it";

    controller.reset();
    closePooledSessions();
    controller = std::make_unique<VpnCertsSilentController>();
    EXPECT_EQ(import(), ImportCert::noSuchItem) << "it went with its session";
}

// Each session keeps the file that it parsed last, so that one account could fill the memory.
TEST_F(TheSteeredToken, KeepsALimitedAmountForEachAccount) {
    const auto parseIn = [](Client& client, const std::string& file) {
        std::string request;
        CommandStreamOut(request).append(file, std::string());
        return client.send(panelkit::Command::ParseCertFile, request);
    };
    const std::string large = std::string(40U << 20, 'x') + "\n" + pem(middle.der); // an account may keep 64 MiB
    Client other;
    {
        Client one;
        EXPECT_TRUE(parseIn(one, large)) << bridge::lastFailure().text();
        EXPECT_FALSE(parseIn(other, large));
        EXPECT_EQ(refusal(), Refused::overBudget);
        EXPECT_TRUE(parseIn(one, large)) << "it takes the place of the former one";
    }
    EXPECT_TRUE(waitFor([&] { return parseIn(other, large); })) << "it was given back with its session";
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
    EXPECT_TRUE(files.find(1).file);
    for (int i = 0; i < 500 && !watched.expired(); ++i) std::this_thread::sleep_for(10ms);
    EXPECT_TRUE(watched.expired()) << "without anybody asking";
    EXPECT_FALSE(files.find(1).file);
    EXPECT_EQ(budget.used(), 0U);
    files.keep(2, std::make_shared<const panelkitd::ParsedFile>(), share());
    files.forget(2);
    EXPECT_FALSE(files.find(2).file);
    EXPECT_EQ(budget.used(), 0U);
}

// Any user can send lists for import; the parsed lists must not stay in memory for ever.
TEST(TheFactsOfCrls, AreKeptUpToALimitInBytes) {
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
