// SPDX-License-Identifier: MIT
//
// The credentials that policies need, compared with the content of tokens.
#include <service/engine/record_engine.h>
#include <service/policy/tunnel_diagnosis.h>

#include <vocabulary/certs.h>
#include <vocabulary/policy.h>

#include "../support/test.h"

using namespace panelkitd;
using vocabulary::CertState;
namespace state = vocabulary::policyCertificate;
namespace usage = vocabulary::keyUsage;

namespace {

constexpr std::int64_t now = 1'700'000'000;

class FakeCredentials : public Credentials {
public:
    std::optional<CredentialList> list() const override {
        ++asked;
        return content;
    }
    std::optional<CredentialList> content = CredentialList{true, true, {}, std::vector<std::string>{}};
    mutable int asked = 0;
};

CertInfo certificate(const std::string& subject) {
    CertInfo info;
    info.subject = subject;
    info.notBefore = now - 1000;
    info.notAfter = now + 1000;
    info.hasPrivateKey = true;
    info.keyUsage = usage::digitalSignature | usage::ipsecIke;
    return info;
}

template <class Change>
CertInfo changed(const std::string& subject, Change&& change) {
    CertInfo info = certificate(subject);
    change(info);
    return info;
}

CertInfo expired(const std::string& subject) {
    return changed(subject, [](CertInfo& c) { c.notAfter = now - 1; });
}
CertInfo revoked(const std::string& subject) {
    return changed(subject, [](CertInfo& c) { c.state = static_cast<std::uint32_t>(CertState::revoked); });
}
CertInfo keyless(const std::string& subject) {
    return changed(subject, [](CertInfo& c) { c.hasPrivateKey = false; });
}

PolicyText policy(const std::string& sections) { return readPolicyText("title = T\nversion = 1\n" + sections); }

const std::string annas = "[a]\naction = protect\ngateway = g\nsubject = CN=anna\n";
const std::string anybodys = "[b]\naction = protect\ngateway = h\nnetwork = 10.0.0.0/8\n";
const std::string keyed = "[c]\naction = protect\ngateway = g\nauthentication = preshared-key\nkey = office\n";

class ADiagnosis : public testing::Test {
protected:
    Diagnosis of(const std::string& sections) const {
        const auto found = diagnose(policy(sections), credentials, now);
        EXPECT_TRUE(found);
        return found.value_or(Diagnosis());
    }
    Diagnosis withCertificates(std::vector<CertInfo> certificates, const std::string& sections = annas) {
        credentials.content->certificates = std::move(certificates);
        return of(sections);
    }

    FakeCredentials credentials;
};

TEST_F(ADiagnosis, TellsWhatIsWrongWithTheCertificateThatThePolicyNames) {
    EXPECT_FALSE(withCertificates({certificate("CN=anna")}).problem);
    EXPECT_EQ(withCertificates({certificate("CN=anna")}).state, state::fine);
    EXPECT_EQ(withCertificates({certificate("CN=bob")}).state, state::missing);
    EXPECT_EQ(withCertificates({expired("CN=anna")}).state, state::expired);
    EXPECT_NE(withCertificates({expired("CN=anna")}).date, "");
    EXPECT_EQ(withCertificates({keyless("CN=anna")}).state, state::noPrivateKey);
    const auto early = changed("CN=anna", [](CertInfo& c) { c.notBefore = now + 1; });
    EXPECT_EQ(withCertificates({early}).state, state::notYetValid);
    const auto forServers = changed("CN=anna", [](CertInfo& c) { c.keyUsage = usage::serverAuth; });
    EXPECT_EQ(withCertificates({forServers}).state, state::lacksIkeUsage);
    const auto withoutUsages = changed("CN=anna", [](CertInfo& c) { c.keyUsage = usage::digitalSignature; });
    EXPECT_EQ(withCertificates({withoutUsages}).state, state::fine) << "it may be used for everything";
    credentials.content->anyToken = false;
    EXPECT_EQ(withCertificates({}).state, state::noToken);
}

TEST_F(ADiagnosis, SaysItselfWhatFrontEndsHaveNoWordsFor) {
    const Diagnosis diagnosis = withCertificates({revoked("CN=anna")});
    EXPECT_EQ(diagnosis.state, state::revoked);
    EXPECT_FALSE(diagnosis.frontEndKnows);
    EXPECT_EQ(Loc::fill(diagnosis.problem.value().phrase), "the personal certificate \"CN=anna\" is revoked");
    EXPECT_TRUE(withCertificates({expired("CN=anna")}).frontEndKnows);
}

TEST_F(ADiagnosis, TellsOfARevocationThatTheConfigurationTurnsOff) {
    credentials.content->revocationCounts = false;
    const Diagnosis diagnosis = withCertificates({revoked("CN=anna")});
    EXPECT_FALSE(diagnosis.problem);
    EXPECT_EQ(diagnosis.state, state::fine);
    EXPECT_EQ(Loc::fill(diagnosis.note.value().phrase),
              "the personal certificate \"CN=anna\" is revoked; this does not count, because IKE.CRL_PROCESSING turns "
              "revocation off");
    EXPECT_FALSE(withCertificates({revoked("CN=anna"), certificate("CN=anna")}).note) << "the good one is used";
    const std::string ofTwo = "[x]\naction = protect\ngateway = g\nnetwork = 10.1.0.0/16\nsubject = CN=bob\n" + annas;
    EXPECT_TRUE(withCertificates({certificate("CN=bob"), revoked("CN=anna")}, ofTwo).note);
    EXPECT_TRUE(withCertificates({revoked("CN=anna")}, annas + "[x]\naction = protect\ngateway = g\nnetwork = "
                                                               "10.1.0.0/16\nsubject = CN=bob\n")
                    .problem)
        << "a note does not hide the problem of a later section";
}

TEST_F(ADiagnosis, LooksAtTheBestOfSeveralCertificates) {
    EXPECT_EQ(withCertificates({expired("CN=anna"), certificate("CN=anna"), keyless("CN=anna")}).state, state::fine);
    EXPECT_EQ(withCertificates({keyless("CN=anna"), expired("CN=anna"), revoked("CN=anna")}).state, state::expired);
    const Diagnosis any = withCertificates({expired("CN=x"), certificate("CN=bob")}, anybodys);
    EXPECT_FALSE(any.problem);
    EXPECT_EQ(any.subject, "CN=bob");
}

TEST_F(ADiagnosis, TakesNoAuthorityAndNothingUnreadableForAPersonalCertificate) {
    const auto authority = changed("CN=ca", [](CertInfo& c) { c.flags = vocabulary::certFlag::authority; });
    const auto unreadable =
        changed("", [](CertInfo& c) { c.state = static_cast<std::uint32_t>(CertState::unreadable); });
    EXPECT_EQ(withCertificates({authority, unreadable}, anybodys).state, state::missing);
}

TEST_F(ADiagnosis, LooksForPresharedKeys) {
    EXPECT_THAT(Loc::fill(of(keyed).problem.value().phrase), HasSubstr("\"office\" is on no token"));
    EXPECT_TRUE(of(keyed).byPresharedKey);
    credentials.content->presharedKeys = {{"home", "office"}};
    EXPECT_FALSE(of(keyed).problem);
    EXPECT_EQ(of(keyed).presharedKey, "office");
    credentials.content->presharedKeys.reset();
    EXPECT_FALSE(of(keyed).problem) << "what can't be known is not held against it";
}

TEST_F(ADiagnosis, IsThatOfTheFirstSectionThatLacksSomething) {
    credentials.content->certificates = {certificate("CN=anna")};
    EXPECT_THAT(Loc::fill(of(annas + keyed).problem.value().phrase), HasSubstr("office"));
    credentials.content->presharedKeys = {{"office"}};
    const Diagnosis fine = of(keyed + annas);
    EXPECT_FALSE(fine.problem);
    EXPECT_TRUE(fine.byPresharedKey) << "the first one's credentials are shown";
    EXPECT_EQ(credentials.asked, 2) << "tokens are looked into once for all sections";
}

TEST_F(ADiagnosis, IsNotMadeWhereNothingIsNeededOrNothingCanBeSeen) {
    EXPECT_FALSE(diagnose(policy("[a]\naction = drop\n"), credentials, now));
    EXPECT_EQ(credentials.asked, 0);
    credentials.content.reset();
    EXPECT_FALSE(diagnose(policy(annas), credentials, now));
}

// ---- with an engine

class EngineWithTunnels : public RecordEngine {
public:
    bool protectsTraffic() const override { return true; }
    Remarks problems() const override { return wrong; }
    std::vector<panelkit::TunnelInfo> tunnels() const override { return all; }

    std::vector<panelkit::TunnelInfo> all;
    Remarks wrong;
};

TEST_F(ADiagnosis, IsThatOfTheTunnelsWhereThereAreAny) {
    using panelkit::TunnelCondition;
    constexpr auto none = vocabulary::Refused::none, ours = vocabulary::Refused::credentials;
    const struct {
        TunnelCondition first, second;
        vocabulary::Refused code;
        const char* why; // of the second
        bool isProblem;
        std::uint32_t state;
        const char* text;
    } rows[] = {
        {TunnelCondition::up, TunnelCondition::up, none, "", false, state::fine, "section [a] to the gateway g"},
        {TunnelCondition::up, TunnelCondition::down, none, "silence", true, state::fine, "[b] to the gateway h"},
        {TunnelCondition::up, TunnelCondition::connecting, none, "silence", true, state::fine, ": silence"},
        {TunnelCondition::up, TunnelCondition::connecting, none, "", false, state::fine, "[b] is being set up"},
        {TunnelCondition::up, TunnelCondition::turnedOff, none, "", true, state::fine, "[b] was turned off"},
        {TunnelCondition::up, TunnelCondition::down, ours, "it is old", true, state::expired, ": it is old"},
        {TunnelCondition::down, TunnelCondition::up, none, "", true, state::fine, "[a] to the gateway g is not up"},
    };
    credentials.content->certificates = {expired("CN=berta")};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        EngineWithTunnels engine;
        engine.all = {{.section = "a", .gateway = "g", .condition = row.first, .credential = "CN=anna"},
                      {.section = "b", .gateway = "h", .condition = row.second, .credential = "CN=berta"}};
        if (*row.why) engine.all[1].why = {{static_cast<std::uint32_t>(row.code), row.why, {}}};
        const auto found = diagnoseTunnels(policy(annas + anybodys), engine, credentials, now);
        ASSERT_TRUE(found);
        EXPECT_EQ(found->isProblem, row.isProblem);
        EXPECT_EQ(found->diagnosis.state, row.state);
        EXPECT_THAT(inEnglish(found->remarks), HasSubstr(row.text));
        engine.wrong = {remark(none, "the daemon is gone")};
        EXPECT_EQ(inEnglish(diagnoseTunnels(policy(annas), engine, credentials, now)->remarks), "the daemon is gone");
    }
    EXPECT_FALSE(diagnoseTunnels(policy(""), EngineWithTunnels(), credentials, now));
}

} // namespace
