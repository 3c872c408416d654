// SPDX-License-Identifier: MIT
//
// How panelctl uses the service's remarks: they are shown in the user's language for every answer that is not a
// success, they decide on the exit code, and false remarks do no harm. Runs under Wine too.
#include "cert_fixture.h"

#include <panelkit/lsp/lsp_records.h>

using Loc::makePhrase;
using PKCS11::ProviderInfo;
using vocabulary::Refused;

namespace {

class Remarks : public FileVerbs {
protected:
    static std::uint32_t number(Refused code) { return static_cast<std::uint32_t>(code); }

    static std::vector<ProviderInfo> providers() {
        return {{"one", "/1.so", "", "", "", "", 0, false, true, false, "in English"},
                {"two", "/2.so", "", "", "", "", 0, false, true, false, "in English"},
                {"old", "/3.so", "", "", "", "", 0, false, true, false, "in English"}};
    }
    static LSPinfo_t policy(const std::string& message) {
        LSPinfo_t info;
        info.request.type = LSPdriver;
        info.bareMessage = true;
        info.message = message;
        return info;
    }
    platform::ChildResult runIn(const std::string& language, std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "--lang=" + language);
        return run(std::move(arguments), "1234\n");
    }
    void login(const Reaction& reaction) { service.on(Command::TokenLogin, reaction); }
};

// The answer's own texts differ from the remarks, so that only the remarks can be the source of the output.
const auto wrongPin = Reaction::reply(encoded(false, PinStateMessage{"a title", "a text"}));

struct Saying {
    const char* name;
    std::vector<std::string> arguments;
    Command command;
    Reaction reaction;
    int status;
    const char* english;
    const char* russian;
};

class EveryVerb : public Remarks, public testing::WithParamInterface<int> {
protected:
    static std::vector<Saying> sayings() {
        const auto no = [](const auto&... more) { return Reaction::reply(encoded(false, more...)); };
        LSPrequest_t required;
        required.type = LSPdriver;
        // clang-format off
        return {
            {"what is refused", {"token", "logout", "A1"}, Command::TokenLogout,
             Reaction::refuse("text", number(Refused::deviceError))
                 .remarking(number(Refused::deviceError), makePhrase("the token reports an error (%s: %s)", "C_Logout", "CKR_1")),
             34, "panelctl: the token reports an error (C_Logout: CKR_1)\n", "panelctl: токен сообщает об ошибке (C_Logout: CKR_1)\n"},
            {"what is refused for a reason", {"token", "logout", "A1"}, Command::TokenLogout,
             Reaction::refuse("text", number(Refused::notStored))
                 .remarking(number(Refused::notStored), makePhrase("the configuration can't be stored")).remarking(0, Loc::verbatim("disk full")),
             40, ": the configuration can't be stored: disk full\n", ": не удалось сохранить конфигурацию: disk full\n"},
            {"a log-in", {"token", "login", "A1", "--pin-stdin"}, Command::TokenLogin,
             wrongPin.remarking(number(Refused::pinLocked), makePhrase("The PIN is locked: it was entered wrong too often.")),
             21, ": The PIN is locked: it was", ": PIN-код заблокирован: слишком много"},
            {"a module", {"provider", "load", "m.so"}, Command::ProviderLoad,
             no(providers()[0]).remarking(number(Refused::modulePath), makePhrase("the module can't be loaded"))
                 .remarking(number(Refused::modulePath), makePhrase("%s can be written by other accounts", "/m.so")),
             30, "the module can't be loaded: /m.so can be written by", "модуль нельзя загрузить: /m.so могут изменять"},
            {"an export", {"cert", "export", "0A1B"}, Command::ExportCertificate,
             Reaction::reply(encoded(static_cast<std::uint32_t>(vocabulary::ExportCert::keyNotExtractable), std::string("text")))
                 .remarking(number(Refused::keyStays), makePhrase("The private key may not leave the token.")),
             64, "to be exported: The private key may not leave the token.", "экспорт закрытого ключа \"gate, west\": Закрытый ключ не может покинуть токен."},
            {"a verification", {"cert", "verify", "0A1B"}, Command::VerifyCert,
             no(std::string("text")).remarking(number(Refused::notVerified), makePhrase("\"%s\" is revoked", "CN=gate"))
                 .remarking(number(Refused::incomplete), makePhrase("the token \"%s\" could not be read", "card")),
             60, "verification: \"CN=gate\" is revoked; the token \"card\" could", "проверку: \"CN=gate\" отозван; токен \"card\" не удалось"},
            {"an activation", {"policy", "activate", "system"}, Command::ActivateSystem,
             no(std::string("text")).remarking(number(Refused::badInput), makePhrase("policy file %s", "/p"))
                 .remarking(number(Refused::policyLine), makePhrase("line %d: it is not UTF-8", 4))
                 .remarking(number(Refused::policyLine), makePhrase("line %d: it has a control character", 5)),
             70, "policy file /p: line 4: it is not UTF-8; line 5: it has", "файл политики /p: строка 4: она не в UTF-8; строка 5: в ней"},
            {"a warning", {"policy", "show"}, Command::GetPolicyInfo,
             Reaction::reply(encoded(required, policy("#warn: text")))
                 .remarking(number(Refused::policyLine), makePhrase("line %d: there are no sections, so nothing is protected", 2)),
             0, "Diagnosis: line 2: there are no sections", "строка 2: разделов нет, поэтому"},
        };
        // clang-format on
    }
};

TEST_P(EveryVerb, SaysInTheUsersLanguageWhatTheServiceRemarks) {
    const Saying saying = sayings().at(static_cast<std::size_t>(GetParam()));
    SCOPED_TRACE(saying.name);
    service.on(saying.command, saying.reaction);
    for (const auto& [language, text] : {std::pair("en", saying.english), std::pair("ru", saying.russian)}) {
        const auto result = runIn(language, saying.arguments);
        EXPECT_EQ(result.status, saying.status) << result.error;
        EXPECT_THAT(result.error + result.output, HasSubstr(text));
        EXPECT_THAT(result.error + result.output, Not(HasSubstr("text"))) << "the answer's own";
    }
}

INSTANTIATE_TEST_SUITE_P(Panelctl, EveryVerb, testing::Range(0, 8));

TEST_F(Remarks, OnAListingBelongToTheProviderThatTheyName) {
    const auto named = [](const char* name) { return makePhrase("the provider \"%s\" is not loaded", name); };
    service.on(Command::EnumProviders,
               Reaction::reply(encoded(providers()))
                   .remarking(number(Refused::providerProblem), named("two"))
                   .remarking(number(Refused::moduleUnfit), makePhrase("the module %s does not work", "/2.so"))
                   .remarking(number(Refused::moduleFailed), makePhrase("the module of provider \"%s\" crashed", "two"))
                   .remarking(number(Refused::providerProblem), named("one"))
                   .remarking(number(Refused::modulePath), makePhrase("not loaded yet")));
    const std::string output = runIn("ru", {"provider", "list"}).output;
    EXPECT_THAT(output, HasSubstr("/1.so  не загружен: еще не загружен\n"));
    EXPECT_THAT(
        output,
        HasSubstr("/2.so  не загружен: модуль /2.so не работает: в модуле провайдера \"two\" произошел сбой\n"));
    EXPECT_THAT(output, HasSubstr("/3.so  не загружен: in English\n")) << "nothing is remarked on it";
}

// A reason that the result states already is not repeated.
TEST_F(Remarks, SayWhyATokenTookNoCertificateWhereTheResultDoesNot) {
    fileHolds({plain});
    const auto importing = [&](vocabulary::ImportCert result, Refused code, Loc::Phrase phrase) {
        service.on(
            Command::ImportCertificate,
            Reaction::reply(encoded(static_cast<std::uint32_t>(result))).remarking(number(code), std::move(phrase)));
        return runIn("en", {"cert", "import", path, "--token", "Office"}).error;
    };
    EXPECT_THAT(importing(vocabulary::ImportCert::refusedByToken, Refused::deviceError,
                          makePhrase("the token reports an error (%s: %s)", "C_CreateObject", "CKR_1")),
                HasSubstr("\": the token reports an error (C_CreateObject: CKR_1)\n"));
    EXPECT_THAT(importing(vocabulary::ImportCert::tokenFull, Refused::tokenFull, makePhrase("the token is full")),
                HasSubstr("token \"Office\" is full\n"));
}

// ---- other versions, and false claims

TEST_F(Remarks, ThatAnOldServiceDoesNotSendAreReplacedByItsEnglishTexts) {
    service.greet({.version = 1});
    login(Reaction::reply(encoded(false, PinStateMessage{vocabulary::pinTitle::wrongPin, "wrong, it says"})));
    expectError(runIn("ru", {"token", "login", "A1", "--pin-stdin"}), 20, "panelctl: wrong, it says\n");
    service.on(Command::TokenLogout, Reaction::refuse("no, it says", number(Refused::deviceError)));
    expectError(runIn("ru", {"token", "logout", "A1"}), 34, "panelctl: no, it says\n");
    service.answer<Command::EnumProviders>(providers());
    EXPECT_THAT(runIn("ru", {"provider", "list"}).output, HasSubstr("не загружен: in English\n"));
}

TEST_F(Remarks, SayWhyTheServiceDoesNotAdmitTheCaller) {
    service.greet({.verdict = 2, .text = "text", .why = {{0, makePhrase("%s may not use this service", "anna")}}});
    expectError(runIn("ru", {"token", "list"}), 4,
                "panelctl: доступ запрещен: anna не может пользоваться этой службой\n");
    service.greet({.verdict = 3, .text = "text"});
    expectError(runIn("ru", {"token", "list"}), 9, "panelctl: служба больше не принимает соединений: text\n");
}

TEST_F(Remarks, OfANewerServiceAreShownInEnglish) {
    login(wrongPin.remarking(9999, makePhrase("the token is asleep: %s", "wake it")));
    expectError(runIn("ru", {"token", "login", "A1", "--pin-stdin"}), 40, "panelctl: the token is asleep: wake it\n");
}

TEST_F(Remarks, WithTooFewOrTooManyArgumentsAreTranslatedAllTheSame) {
    struct Odd {
        Loc::Phrase phrase;
        const char* shown;
    };
    for (const Odd& odd :
         {Odd{{"the token \"%s\" is not there", {}}, "токена \"%s\" нет\n"},
          Odd{{"the token \"%s\" is not there", {"A", "B"}}, "токена \"A\" нет\n"},
          Odd{{"%9$s %1$s %n %", {"A"}}, "%9$s A %n %\n"}, Odd{{"%d bytes", {"no number"}}, "no number bytes\n"}}) {
        login(wrongPin.remarking(number(Refused::wrongPin), odd.phrase));
        expectError(runIn("ru", {"token", "login", "A1", "--pin-stdin"}), 20, std::string("panelctl: ") + odd.shown);
    }
}

TEST_F(Remarks, OfAHostileServiceDoNothingToTheTerminal) {
    login(wrongPin.remarking(1, {"\x1B]0;title\x07 \n%s", {"\x1B[2J\r\xFF"}}));
    const std::string error = runIn("en", {"token", "login", "A1", "--pin-stdin"}).error;
    EXPECT_THAT(error, HasSubstr("\\x1B]0;title\\x07 \\x0A\\x1B[2J\\x0D\\xFF"));
    EXPECT_THAT(error, Not(HasSubstr("\x1B")));

    std::string places;
    for (int i = 0; i < 20'000; ++i) places += "%1$s";
    Reaction bulky = wrongPin;
    for (int i = 0; i < 6; ++i) bulky = bulky.remarking(60, {places, {std::string(80'000, 'x')}});
    login(bulky);
    EXPECT_LT(runIn("en", {"token", "login", "A1", "--pin-stdin"}).error.size(), 4U << 20);

    Reaction tooMany = wrongPin;
    for (int i = 0; i < 101; ++i) tooMany = tooMany.remarking(1, makePhrase("w"));
    login(tooMany);
    expectError(runIn("en", {"token", "login", "A1", "--pin-stdin"}), 6, "it sent a malformed frame");
}

} // namespace
