// SPDX-License-Identifier: MIT
#include <panelkit/bridge/transcript.h>

#include <panelkit/bridge/send_command.h>
#include <panelkit/certs/cert_imports.h>
#include <panelkit/certs/certs_controller.h>
#include <panelkit/lparams/sections/section_body.h>
#include <panelkit/lparams/sections/sections.h>
#include <panelkit/lsp/lsp_controller.h>
#include <panelkit/tokens/tokens_controller.h>
#include <panelkit/transcript/field_names.h>
#include <panelkit/transcript/transcript_fields.h>
#include <platform/json/json.h>
#include <platform/text/utf8_path.h>

#include "../../support/bytes.h"
#include "../../support/environment.h"
#include "../../support/records.h"
#include "../../support/running_service.h"
#include "../../support/service_fixture.h"

#include <iterator>

namespace {

class ATranscript : public WithScriptedService {
protected:
    ATranscript() { panelkit::startTranscript(path); }
    ~ATranscript() override { panelkit::stopTranscript(); }

    // While it is being written: Windows refuses that to readers who shut out writers.
    std::string text() const {
        std::ifstream file(platform::toPath(path), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string lastLine() const {
        const std::string all = text();
        return all.substr(all.rfind('\n', all.size() - 2) + 1);
    }

    const TemporaryFolder folder;
    const std::string path = folder.file("журнал");
    VpnTokensController tokens;
    const PKCS11::TokenInfo token{7, "Office", "0042", "", "SoftHSM", 5};
};

TEST_F(ATranscript, NamesEachFieldWithItsOffsetAndHidesThePin) {
    service->answer<Command::TokenLogin>(false, PinStateMessage{"wrong", "2 tries"});
    EXPECT_FALSE(tokens.TokenLogin(token, "1234", true, nullptr));
    const std::string line = lastLine();
    EXPECT_THAT(line, HasSubstr(R"("session":"Tokens","module":6,"code":2,"command":"TokenLogin",)"));
    EXPECT_THAT(
        line,
        HasSubstr(R"("remarks":[],"request":{"bytes":54,"fields":[{"at":0,"name":"token.slotId","value":7},)"
                  R"({"at":8,"name":"token.text1","value":"Office"},{"at":18,"name":"token.text2","value":"0042"},)"
                  R"({"at":26,"name":"token.text3","value":""},{"at":30,"name":"token.text4","value":"SoftHSM"},)"
                  R"({"at":41,"name":"token.flags","value":5},{"at":45,"name":"pin","secret":true},)"
                  R"({"at":53,"name":"allowFinalTry","value":true}]},"reply":{"bytes":21,"fields":[)"
                  R"({"at":0,"name":"done","value":false},{"at":1,"name":"why.title","value":"wrong"},)"
                  R"({"at":10,"name":"why.text","value":"2 tries"}]}})"));
    EXPECT_THAT(line, Not(HasSubstr("1234")));
    EXPECT_NO_THROW(platform::json::Document{line});
}

// The reply is cut at every place: the caller gets the plain text, and the transcript tells the place.
TEST_F(ATranscript, ExplainsAReplyThatEndsEarly) {
    struct Row {
        std::size_t length;
        const char* explained;
    };
    const Row rows[] = {
        {0, R"("fields":[],"endsEarly":{"record":"","field":"tokens.count","at":0,"left":0})"},
        {4, R"("endsEarly":{"record":"TokenInfo","field":"tokens[0].slotId","at":4,"left":0})"},
        {17, R"("endsEarly":{"record":"TokenInfo","field":"tokens[0].text1","at":12,"left":5})"},
        {56, R"("endsEarly":{"record":"TokenInfo","field":"tokens[1].slotId","at":49,"left":7})"},
    };
    const std::string whole = encoded(std::vector{token, token});
    for (const Row& row : rows) {
        service->on(Command::EnumProviderTokens, Reaction::reply(whole.substr(0, row.length)));
        std::vector<PKCS11::TokenInfo> list;
        EXPECT_TRUE(throwsStreamError([&] { tokens.EnumProviderTokens(nullptr, list); })) << row.length;
        EXPECT_THAT(lastLine(), HasSubstr(row.explained)) << row.length;
    }
}

TEST_F(ATranscript, TellsFailuresRemarksAndWhatIsLeftOver) {
    service->on(Command::EnumProviders, Reaction::refuse("not\ntoday"));
    std::vector<PKCS11::ProviderInfo> providers;
    EXPECT_FALSE(tokens.EnumProviders(providers));
    EXPECT_THAT(lastLine(),
                HasSubstr(R"("failure":6,"why":"not\\x0Atoday","remarks":[],"request":{"bytes":0,"fields":[]}})"));

    service->on(Command::EnumProviders,
                Reaction::reply(hex("00 00 00 00 'more'")).remarking(14, Loc::makePhrase("%s is missing", "one")));
    EXPECT_TRUE(tokens.EnumProviders(providers));
    EXPECT_THAT(lastLine(), HasSubstr(R"("remarks":["one is missing"])"));
    EXPECT_THAT(lastLine(), HasSubstr(R"("value":0}],"unread":4}})"));

    SessionsPool::GetSession(SessionTokens)->__SendCommand(ModuleIdType{77}, 5, "secret", 6, nullptr);
    EXPECT_THAT(lastLine(), HasSubstr(R"("module":77,"code":5,"milliseconds")"));
    EXPECT_THAT(lastLine(), HasSubstr(R"("request":{"bytes":6,"fields":[],"unread":6})"));
}

TEST_F(ATranscript, ShowsTheFirstOfManyFields) {
    service->answer<Command::EnumProviderTokens>(std::vector<PKCS11::TokenInfo>(100, token));
    std::vector<PKCS11::TokenInfo> list;
    EXPECT_TRUE(tokens.EnumProviderTokens(nullptr, list));
    EXPECT_THAT(lastLine(), HasSubstr(R"("tokens[83].slotId","value":7}],"notShown":101}})"));
}

TEST_F(ATranscript, EndsWhenItIsStopped) {
    panelkit::stopTranscript();
    std::vector<PKCS11::ProviderInfo> providers;
    tokens.EnumProviders(providers);
    EXPECT_EQ(text(), "");
}

// ---- secrets

// A payload of a row with a text of its own in each field that is a secret, and with others in all other texts.
class Sample {
public:
    template <class... Types>
    explicit Sample(panelkit::Fields<Types...>) {
        (append(panelkit::Fields<Types>()), ...);
    }
    explicit Sample(panelkit::Unread) {}
    std::string bytes;
    static constexpr const char* secret = "the secret";

private:
    template <class Type>
    void append(panelkit::Fields<Type>) {
        if constexpr (std::is_same_v<Type, panelkit::SecretText>) {
            bytes += encoded(std::string(secret));
        } else {
            bytes += encoded(Type());
        }
    }
    template <class Type>
    void append(panelkit::Fields<panelkit::Optional<Type>>) {
        append(panelkit::Fields<Type>());
    }
    template <class Count, class First, class Second>
    void append(panelkit::Fields<panelkit::Pairs<Count, First, Second>>) {
        bytes += encoded(std::uint32_t{1}, First(), Second());
    }
    template <class First, class Second>
    void append(panelkit::Fields<panelkit::MorePairs<First, Second>>) {
        bytes += encoded(First(), Second());
    }
    void append(panelkit::Fields<panelkit::Bytes>) { bytes += secret; }
};

// Every row, also those that are added later.
TEST(ATranscriptOfEachCommand, IsReadToTheEndAndShowsNoSecret) {
    [&]<std::size_t... place>(std::index_sequence<place...>) {
        const auto check = [](const char* of, std::string_view name, const std::string& bytes,
                              const std::string& json) {
            const bool isUnread = json.find("\"fields\":[]") != std::string::npos;
            EXPECT_THAT(json, Not(HasSubstr(Sample::secret))) << name << of;
            EXPECT_THAT(json, Not(HasSubstr("endsEarly"))) << name << of;
            EXPECT_TRUE(isUnread || json.find("unread") == std::string::npos) << name << of << toHex(bytes);
        };
        const auto checkRow = [&]<Command command>(std::integral_constant<Command, command>) {
            const Sample request{panelkit::RequestOf<command>()}, reply{panelkit::ReplyOf<command>()};
            std::string json;
            panelkit::appendRequestJson(command, request.bytes, json);
            check(" request ", panelkit::commandRow(command).name, request.bytes, json);
            json.clear();
            panelkit::appendReplyJson(command, request.bytes, reply.bytes, json);
            check(" reply ", panelkit::commandRow(command).name, reply.bytes, json);
        };
        (checkRow(std::integral_constant<Command, static_cast<Command>(place)>()), ...);
    }
    (std::make_index_sequence<panelkit::commandTable.size()>());
}

// What an administrator types and sends in a day, each secret with a text of its own.
TEST_F(ATranscript, HoldsNoSecretAfterADayOfCommands) {
    service->answer<Command::ExportCertificate>(ExportCertResult{}, std::string("GEHEIM-export"));
    service->answer<Command::TokenLogin>(true);
    service->answer<Command::TokenInitialize>(true);
    service->answer<Command::TokenChangePassword>(true);
    service->answer<Command::InitTokenRNG>(true);
    service->answer<Command::CreatePresharedKey>(true);
    service->answer<Command::ImportCertificate>(ImportCertResult{});
    service->answer<Command::ImportCertificates>(std::vector<ImportCertResult>{});
    service->answer<Command::ParseCertFile>(ParseCertFileResult{5});
    service->on(Command::WriteGroup, Reaction::reply(""));
    tokens.TokenLogin(token, "GEHEIM-pin", false, nullptr);
    tokens.TokenInitialize(token, "label", "GEHEIM-so", "GEHEIM-user", true);
    tokens.TokenChangePassword(token, "GEHEIM-old", "GEHEIM-new", false, false);
    tokens.InitTokenRNG(token, "GEHEIM-seed");
    VpnCertsController certs;
    const std::string file = folder.file("key.pem");
    std::ofstream(platform::toPath(file)) << "GEHEIM-file";
    std::vector<PKCS11::TokenInfo> places;
    std::vector<CertImportOption> options;
    std::vector<CRLInfo> crls;
    certs.ParseCertFile(file.c_str(), "GEHEIM-password", places, options, crls);
    certs.ImportCertificate(token, 0, CertImportMode{}, false, "GEHEIM-import");
    std::vector<ImportCertResult> results;
    panelkit::importCertificates(certs, token, {{}}, "GEHEIM-import", results);
    std::string content;
    certs.ExportCertificate(token, {}, CertExportFormat{}, "GEHEIM-container", false, true, content);
    EXPECT_EQ(content, "GEHEIM-export");
    certs.CreatePresharedKey(token, "name", "GEHEIM-psk");
    int secretParameters = 0;
    for (const auto& group : panelkit::allGroups()) {
        auto body = panelkit::SectionBody::defaultsOf(*group);
        for (std::size_t i = 0; i < body.size(); ++i) {
            if (!body[i].isSecret()) continue;
            ++secretParameters;
            body.replace(i, encoded(std::string("GEHEIM-parameter")));
        }
        const std::string_view section = group->name;
        service->on(Command::ReadGroup, Reaction::reply(std::string(body.bytes())));
        std::string reply;
        panelkit::DirectCommand<Command::WriteGroup>().with(section, panelkit::Encoded{body.bytes()}).send(&reply);
        panelkit::DirectCommand<Command::ReadGroup>().with(section).send(&reply);
    }
    EXPECT_EQ(secretParameters, 2);

    const std::string all = text();
    EXPECT_THAT(all, Not(HasSubstr("GEHEIM")));
    EXPECT_THAT(all, HasSubstr(R"("name":"SMTP_PASSWORD","secret":true)"));
    EXPECT_THAT(all, HasSubstr(R"("name":"QCD_SECRET","secret":true)"));
    EXPECT_THAT(all, HasSubstr(R"("name":"SESSION_EXPTIME","value":)"));
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), static_cast<std::ptrdiff_t>(service->requests().size()));
}

} // namespace
