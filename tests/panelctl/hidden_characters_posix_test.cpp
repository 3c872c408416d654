// SPDX-License-Identifier: MIT
//
// What tokens, certificates and policies say has no effect on the reader's terminal, and can't hide: one table of
// characters through the verbs that show such texts, at a terminal, as text and as JSON.
#include "../support/pseudo_terminal_posix.h"
#include "cert_fixture.h"

#include <panelkit/lsp/lsp_records.h>
#include <panelkit/net/interface_records.h>

namespace {

struct Hidden {
    const char* bytes;
    const char* what;
};

// clang-format off
constexpr std::array characters = { // platform/text/text_test.cpp has all that are hidden
    Hidden{"\x07",             "bell"},
    Hidden{"\x1B[2J",          "clears the screen"},
    Hidden{"\xC2\x9B",         "begins a control sequence in one character"},
    Hidden{"\xE2\x80\x8B",     "blank without width"},
    Hidden{"\xE2\x80\xAE",     "right-to-left override"},
    Hidden{"\xF3\xA0\x81\x81", "tag A"},
};

const std::vector<std::vector<std::string>> verbs = {
    {"provider", "list"}, {"token", "list"}, {"cert", "list"}, {"cert", "show", "0A1B"},
    {"cert", "chain", "0A1B"}, {"cert", "verify", "0A1B"}, {"crl", "list"}, {"psk", "list"},
    {"policy", "status"}, {"policy", "show"}, {"policy", "explain"}, {"policy", "view"}, {"policy", "source", "get"}, {"net", "list"},
};
// clang-format on

class HiddenCharacters : public CertVerbs {
protected:
    HiddenCharacters() {
        for (const Hidden& one : characters) nasty += one.bytes;
        TokenInfo token{1, nasty, "A1" + nasty, nasty, nasty, ready};
        CertInfo certificate = gate;
        certificate.subject = "CN=" + nasty;
        certificate.issuer = "CN=" + nasty;
        service.answer<Command::EnumProviders>(std::vector<PKCS11::ProviderInfo>{{nasty, nasty, nasty, nasty}});
        service.answer<Command::EnumProviderTokens>(std::vector<TokenInfo>{token});
        listCertificates({{token, certificate}});
        CertExtentions all = details;
        all.label = all.subjectAlternativeNames = nasty;
        service.on(Command::GetCertDetails, Reaction::reply(encoded(certificate, all, nasty)));
        service.on(Command::GetCertChain,
                   Reaction::reply(encoded(std::uint32_t{0}) + pairs<CertInfo>({{token, certificate}})));
        service.answer<Command::VerifyCert>(true, nasty);
        service.on(Command::EnumCRLs, Reaction::reply(pairs<CRLInfo>({{token, {.issuer = "CN=" + nasty}}})));
        service.on(Command::EnumPresharedKeys, Reaction::reply(pairs<PresharedKeyInfo>({{token, {nasty}}})));
        answerPolicy();
        service.answer<Command::GetInterfaces>(
            std::vector<NetInterfaceInfo>{{.text1 = nasty, .text2 = nasty, .text3 = nasty}});
    }

    void answerPolicy() {
        LSPinfo_t info;
        info.request = {.type = LSPuserFile, .user = nasty, .file = nasty};
        info.Title = info.message = nasty;
        info.bareMessage = true;
        service.answer<Command::GetPolicyInfo>(info.request, info);
        service.on(Command::ViewCurrent, Reaction::reply("title = " + nasty + "\n"));
        LSPcmd::LSPsettings_t settings;
        settings.Source = 1;
        settings.File = settings.server.Server = nasty;
        service.answer<Command::GetSettings>(settings);
    }

    std::string shown(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {builtProgram("panelctl"), "--endpoint", service.endpoint()});
        PseudoTerminal terminal;
        terminal.run(arguments, {.environment = {{"LC_ALL", "C.UTF-8"}, {"NO_COLOR", "1"}, {"TERM", "xterm"}}});
        EXPECT_EQ(terminal.waitForStatus(), 0) << terminal.screen();
        return terminal.screen();
    }
    void expectHarmless(const std::string& screen) const {
        for (const Hidden& one : characters) EXPECT_THAT(screen, Not(HasSubstr(one.bytes))) << one.what;
    }

    std::string nasty = "name";
};

TEST_F(HiddenCharacters, AreEscapedAtATerminal) {
    for (const auto& verb : verbs) {
        SCOPED_TRACE(verb[0] + " " + verb[1]);
        const std::string screen = shown(verb);
        expectHarmless(screen);
        EXPECT_THAT(screen, HasSubstr("name\\x07\\x1B[2J")) << "it is shown, and the reader sees that";
    }
    expectHarmless(shown({"cert", "show", "0A1B", "--text"}));
}

TEST_F(HiddenCharacters, AreEscapedInJsonAndMeanTheSame) {
    std::string escapes = nlohmann::json(nasty).dump();
    escapes = escapes.substr(1, escapes.size() - 2); // without the quotation marks
    for (auto verb : verbs) {
        SCOPED_TRACE(verb[0] + " " + verb[1]);
        verb.emplace_back("--json");
        const std::string screen = shown(verb);
        expectHarmless(screen);
        EXPECT_THAT(nlohmann::json::parse(screen).dump(), HasSubstr(escapes));
        EXPECT_EQ(nlohmann::json::parse(run(verb).output), nlohmann::json::parse(screen)) << "in a pipe";
        expectHarmless(run(verb).output);
    }
}

TEST_F(HiddenCharacters, AreEscapedInQuestionsAnswersAndErrors) {
    service.on(Command::DeletePresharedKey, Reaction::reply(""));
    const auto deleted = run({"psk", "delete", nasty, "--yes"});
    EXPECT_EQ(deleted.status, 0) << deleted.error;
    expectHarmless(deleted.output);
    expectHarmless(run({"cert", "show", "no" + nasty}).error);
    service.on(Command::GetPolicyInfo, Reaction::refuse("refused" + nasty));
    expectHarmless(run({"policy", "show"}).error);
}

} // namespace
