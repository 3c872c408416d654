// SPDX-License-Identifier: MIT
//
// panelctl watch against the scripted service: what it reports, how it handles a service that goes away and comes back,
// and what ends it. Runs under Wine too.
#include "../support/panelctl_fixture.h"

#include <panelkit/monitor/tunnel_records.h>
#include <vocabulary/notifications.h>
#include <vocabulary/policy.h>
#include <vocabulary/tokens.h>

using panelkit::testing::PushResult;
using panelkit::testing::ScriptedService;
using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
using vocabulary::Notification;
namespace flag = vocabulary::tokenFlag;

namespace {

const TokenInfo office{1, "Office", "A1", "Acme, X", "card", flag::initialized};
const TokenInfo home{2, "東京\x1B[2J", "B2", "", "card", flag::initialized | flag::loggedIn};
const TokenInfo blank{3, "", "", "", "card", 0};

class PanelctlWatch : public testing::Test {
protected:
    PanelctlWatch() : endpoint(panelkit::testing::uniqueEndpoint()) {}

    void serve(const std::vector<TokenInfo>& tokens, bool loaded = true) {
        service = std::make_unique<ScriptedService>(endpoint);
        const ProviderInfo card{"card", "/c.so", "", "", "", "", 0, loaded, true, false, ""};
        service->answer<Command::EnumProviderTokens>(tokens);
        service->answer<Command::EnumProviders>(std::vector{card});
    }
    // Answers with one section.
    void answerLog(std::uint32_t level) {
        service->on(Command::ReadGroup, [level](const panelkit::testing::Received& request) {
            if (request.payload != encoded(std::string("LOG"))) return Reaction::refuse();
            std::string body(400, '\0');
            body[0] = static_cast<char>(level);
            return Reaction::reply(body);
        });
    }
    void start(std::vector<std::string> arguments) {
        platform::ChildOptions options;
        options.arguments = {builtProgram("panelctl"), "--endpoint", endpoint, "watch"};
        options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
        options.environment = {{"PANELKIT_BRIDGE", std::nullopt}, {"LC_ALL", "C.UTF-8"}, {"TZ", "UTC"}};
        watch = std::make_unique<platform::ChildProcess>(options);
    }
    void startJson(std::vector<std::string> arguments = {}) {
        arguments.emplace_back("--json");
        start(std::move(arguments));
    }
    template <class Notice>
    PushResult::Kind push(Notification id, const Notice& notice) {
        EXPECT_TRUE(service->waitForReceiver());
        return service->push(static_cast<std::int32_t>(id), encoded(notice)).kind;
    }
    // Waits until there are so many lines.
    std::vector<std::string> lines(std::size_t count) const {
        std::vector<std::string> found;
        for (const auto limit = std::chrono::steady_clock::now() + 20s; std::chrono::steady_clock::now() < limit;) {
            found.clear();
            std::istringstream text(watch->outputSoFar());
            for (std::string line; std::getline(text, line);) {
                if (!line.empty() && line.back() == '\r') line.pop_back();
                found.push_back(line);
            }
            if (found.size() >= count) break;
            std::this_thread::sleep_for(10ms);
        }
        return found;
    }
    std::vector<std::string> events(std::size_t count) const {
        std::vector<std::string> names;
        for (const std::string& line : lines(count)) {
            const auto event = nlohmann::json::parse(line);
            names.push_back(event["event"].get<std::string>() + (event["missed"] ? " (missed)" : ""));
        }
        return names;
    }
    int endStatus() { return watch->wait(20s).status; }

    const std::string endpoint;
    std::unique_ptr<ScriptedService> service;
    std::unique_ptr<platform::ChildProcess> watch;
};

TEST_F(PanelctlWatch, ReportsEachNotificationInALineAtOnce) {
    serve({});
    start({"--count", "12"});
    using Kind = PushResult::Kind;
    EXPECT_EQ(push(Notification::tokenArrived, vocabulary::TokenNotice{{0, 1}, home}), Kind::handled);
    EXPECT_THAT(lines(1), ElementsAre("1970.01.01 00:00:00  Token \"東京\\x1B[2J\" (serial number B2) was inserted."));
    EXPECT_EQ(push(Notification::tokenLoggedOut, vocabulary::TokenNotice{{1, 2}, office}), Kind::handled);
    push(Notification::configurationCommitted, vocabulary::ConfigurationNotice{{2, 3}, "anna", {"IKE", "LOG"}});
    push(Notification::policyActivated, vocabulary::PolicyNotice{{3, 4}, "system", "Main", "", ""});
    push(Notification::policyFailed, vocabulary::PolicyNotice{{4, 5}, "user", "Own", "anna", "line 3: no"});
    CertInfo certificate;
    certificate.subject = "CN=a%s";
    push(Notification::certificateExpiring, vocabulary::CertificateNotice{{5, 6}, office, certificate, 3});
    push(Notification::certificateExpiring, vocabulary::CertificateNotice{{6, 7}, office, certificate, -1});
    EXPECT_EQ(service->push(5, "short").kind, Kind::notHandled) << "and it goes on";
    EXPECT_EQ(service->push(999, "").kind, Kind::notHandled);
    push(Notification::tokenInitialized, vocabulary::TokenNotice{{7, 8}, office});
    push(Notification::tunnelUp, vocabulary::TunnelNotice{{8, 9}, "hq", "gate", "", 3, ""});
    push(Notification::tunnelDown, vocabulary::TunnelNotice{{9, 10}, "hq", "gate", "", 1, "silence"});
    push(Notification::tunnelDown, vocabulary::TunnelNotice{{10, 11}, "(not shown)", "", "anna", 1, ""});
    push(Notification::serviceStopping, vocabulary::StoppingNotice{{11, 12}});
    EXPECT_EQ(endStatus(), 0);
    const auto all = lines(12);
    ASSERT_EQ(all.size(), 12U);
    EXPECT_EQ(all[1], "1970.01.01 00:00:01  The service is logged out of token \"Office\" (serial number A1).");
    EXPECT_EQ(all[2], "1970.01.01 00:00:02  anna committed the configuration: IKE, LOG.");
    EXPECT_EQ(all[3], "1970.01.01 00:00:03  Policy system \"Main\" is in force.");
    EXPECT_EQ(all[4], "1970.01.01 00:00:04  Policy user \"Own\" (anna) could not be activated: line 3: no");
    EXPECT_EQ(all[5], "1970.01.01 00:00:05  Certificate \"CN=a%s\" on token \"Office\" expires in 3 days.");
    EXPECT_EQ(all[6], "1970.01.01 00:00:06  Certificate \"CN=a%s\" on token \"Office\" has expired.");
    EXPECT_EQ(all[7], "1970.01.01 00:00:07  Token \"Office\" (serial number A1) was initialised.");
    EXPECT_EQ(all[8], "1970.01.01 00:00:08  The tunnel of section [hq] to the gateway gate is up. (3 changes)");
    EXPECT_EQ(all[9], "1970.01.01 00:00:09  The tunnel of section [hq] to the gateway gate is down: silence");
    EXPECT_EQ(all[10], "1970.01.01 00:00:10  A tunnel of the policy of anna is down.");
    EXPECT_EQ(all[11], "1970.01.01 00:00:11  The service is stopping.");
    EXPECT_THAT(watch->errorSoFar(), HasSubstr("Watching; press Ctrl-C to stop."));
}

TEST_F(PanelctlWatch, WritesOneJsonObjectALine) {
    serve({});
    startJson({"--count", "3"});
    push(Notification::tokenArrived, vocabulary::TokenNotice{{1'800'000'000, 1}, home});
    push(Notification::policyFailed, vocabulary::PolicyNotice{{0, 2}, "user", "Own", "anna", "why"});
    const CertInfo certificate{.subject = "CN=a", .notAfter = 1'800'000'000};
    push(Notification::certificateExpiring, vocabulary::CertificateNotice{{0, 3}, home, certificate, 4});
    EXPECT_EQ(endStatus(), 0);
    const auto all = lines(3);
    ASSERT_EQ(all.size(), 3U);
    const std::string token = R"({"label": "東京\u001b[2J", "serial": "B2", "model": "", "provider": "card",
        "uri": "pkcs11:model=;manufacturer=;serial=B2;token=%E6%9D%B1%E4%BA%AC%1B[2J"})";
    EXPECT_EQ(nlohmann::json::parse(all[0]),
              nlohmann::json::parse(R"({"schema": 1, "time": "2027-01-15T08:00:00Z", "event": "token-arrived",
                  "missed": false, "number": 1, "token": )" +
                                    token + "}"));
    expectHolds(nlohmann::json::parse(all[1]), R"({"source": "user", "reason": "why"})");
    expectHolds(nlohmann::json::parse(all[2]), nlohmann::json::parse(R"({"certificate": {"subject": "CN=a",
        "notAfter": "2027-01-15T08:00:00Z", "daysLeft": 4}, "token": )" +
                                                                     token + "}")); // days as the service counted
}

TEST_F(PanelctlWatch, SaysWhyAPolicyFailedInTheUsersLanguage) {
    const std::vector<vocabulary::NoticeRemark> remarks{{40, "policy file %s", {"/p"}},
                                                        {60, "line %d: it is not UTF-8", {"4"}},
                                                        {60, "line %d: it has a control character", {"5"}},
                                                        {0, "", {"no wording"}},
                                                        {0, "\x1B[2J", {}}};
    const std::string notice = encoded(vocabulary::PolicyNotice{{0, 2}, "user", "Own", "anna", "text"}, remarks);
    std::string lying = encoded(vocabulary::PolicyNotice{{0, 3}, "user", "Own", "anna", "text"}, 0x7FFFFFFF);
    serve({});
    start({"--lang", "ru", "--count", "1"});
    EXPECT_TRUE(service->waitForReceiver());
    const auto id = static_cast<std::int32_t>(Notification::policyFailed);
    EXPECT_EQ(service->push(id, lying).kind, PushResult::Kind::notHandled);
    EXPECT_EQ(service->push(id, notice).kind, PushResult::Kind::handled);
    EXPECT_EQ(endStatus(), 0);
    EXPECT_THAT(lines(1).at(0), HasSubstr("файл политики /p: строка 4: она не в UTF-8; строка 5: в ней есть "
                                          "управляющий символ; \\x1B[2J"));
}

TEST_F(PanelctlWatch, SaysWhatItMissedWhileTheServiceWasAway) {
    serve({office, home, blank});
    startJson({"--count", "8"});
    TokenInfo loggedIn = office;
    loggedIn.flags |= flag::loggedIn;
    push(Notification::tokenLoggedIn, vocabulary::TokenNotice{{0, 1}, loggedIn});
    EXPECT_THAT(events(1), ElementsAre("token-logged-in"));
    service.reset();
    EXPECT_THAT(events(2), ElementsAre("token-logged-in", "service-detached"));
    TokenInfo renamed = office;
    renamed.*vocabulary::token::label = "New";
    const TokenInfo third{4, "Third", "C3", "", "card", flag::initialized};
    serve({renamed, third, blank, blank}, false);
    EXPECT_EQ(endStatus(), 0);
    EXPECT_THAT(events(8),
                ElementsAre("token-logged-in", "service-detached", "service-attached", "provider-unloaded (missed)",
                            "token-removed (missed)", "token-initialized (missed)", "token-logged-out (missed)",
                            "token-arrived (missed)"));
    EXPECT_EQ(nlohmann::json::parse(lines(8)[4])["token"]["serial"], "B2");
}

TEST_F(PanelctlWatch, SaysWhichSectionsChangedWhileTheServiceWasAway) {
    const auto serveLog = [&](std::uint32_t level) {
        serve({}, false); // a provider that was not loaded before is not reported as unloaded
        answerLog(level);
    };
    serveLog(1);
    startJson({"--count", "4"});
    push(Notification::tokenRemoved, vocabulary::TokenNotice{{0, 1}, office});
    EXPECT_THAT(events(1), ElementsAre("token-removed")) << "after it has looked once";
    service.reset();
    EXPECT_THAT(events(2), ElementsAre("token-removed", "service-detached"));
    serveLog(2);
    EXPECT_EQ(endStatus(), 0);
    EXPECT_THAT(events(4),
                ElementsAre("token-removed", "service-detached", "service-attached", "configuration-changed (missed)"));
    EXPECT_EQ(nlohmann::json::parse(lines(4)[3])["sections"], nlohmann::json::array({"LOG"}));
}

TEST_F(PanelctlWatch, SaysWhichTunnelsChangedWhileTheServiceWasAway) {
    using panelkit::TunnelCondition;
    const auto tunnel = [](const char* section, TunnelCondition condition, std::int64_t since, const char* why = "") {
        panelkit::TunnelInfo info{.section = section, .network = {}, .gateway = "gate", .condition = condition};
        info.since = since;
        if (*why) info.why = {{0, why, {}}};
        return info;
    };
    const auto up = TunnelCondition::up, down = TunnelCondition::down;
    serve({});
    service->answer<Command::GetTunnels>(std::vector{tunnel("stays", up, 1), tunnel("again", up, 1),
                                                     tunnel("told", up, 1), tunnel("falls", up, 1),
                                                     tunnel("gone", up, 1), tunnel("rises", down, 1)});
    start({"--count", "10"});
    push(Notification::tunnelDown, vocabulary::TunnelNotice{{0, 1}, "told", "gate", "", 1, "silence"});
    EXPECT_EQ(lines(1).size(), 1U);
    service.reset();
    EXPECT_EQ(lines(2).size(), 2U);
    serve({});
    service->answer<Command::GetTunnels>(std::vector{tunnel("stays", up, 1), tunnel("again", up, 2),
                                                     tunnel("told", down, 1), tunnel("falls", down, 2, "a reason"),
                                                     tunnel("rises", up, 2), tunnel("new", down, 2)});
    EXPECT_EQ(lines(7).size(), 7U);
    service.reset();
    EXPECT_EQ(lines(8).size(), 8U);
    serve({});
    service->on(Command::GetTunnels, Reaction::refuse("no", 3));
    EXPECT_EQ(endStatus(), 0);
    std::vector<std::string> texts;
    for (const std::string& line : lines(10)) texts.push_back(line.substr(line.find("  ") + 2));
    ASSERT_EQ(texts.size(), 10U);
    const std::string begin = "Meanwhile: The tunnel of section ";
    EXPECT_THAT(std::vector(texts.begin() + 3, texts.begin() + 7),
                ElementsAre(begin + "[gone] to the gateway gate is down: the policy in force has no such section",
                            begin + "[again] to the gateway gate went down and is up again.",
                            begin + "[falls] to the gateway gate is down: a reason",
                            begin + "[rises] to the gateway gate is up."));
    EXPECT_THAT(texts.back(), HasSubstr("It is not known which tunnels have changed"));
}

TEST_F(PanelctlWatch, SaysOnceWhatItHeardBeforeTheServiceWasAway) {
    LSPinfo_t info;
    info.request.type = LSPdriver;
    const auto answer = [&](std::uint32_t level) {
        answerLog(level);
        service->answer<Command::GetPolicyInfo>(info.request, info);
    };
    serve({});
    answer(1);
    startJson({"--count", "6"});
    push(Notification::tokenRemoved, vocabulary::TokenNotice{{0, 1}, office});
    EXPECT_EQ(events(1).size(), 1U) << "it has looked once";
    info.request.type = LSPsystemFile;
    answer(2);
    push(Notification::configurationCommitted, vocabulary::ConfigurationNotice{{1, 2}, "anna", {"LOG"}});
    push(Notification::policyActivated, vocabulary::PolicyNotice{{2, 3}, "system", "Main", "", ""});
    EXPECT_EQ(events(3).size(), 3U);
    service.reset();
    EXPECT_EQ(events(4).back(), "service-detached");
    serve({});
    answer(2);
    EXPECT_EQ(events(5).back(), "service-attached");
    push(Notification::tokenRemoved, vocabulary::TokenNotice{{3, 4}, office});
    EXPECT_EQ(endStatus(), 0);
    EXPECT_EQ(events(6).back(), "token-removed");
}

TEST_F(PanelctlWatch, SaysWhichPolicyItMissed) {
    LSPrequest_t required{.type = LSPsystemFile, .user = {}, .file = "/p", .server = {}, .driverMode = 0};
    LSPinfo_t info;
    info.request = required;
    info.Title = "Main";
    const auto servePolicy = [&] {
        serve({});
        service->answer<Command::GetPolicyInfo>(required, info);
    };
    const auto restart = [&](std::size_t lines) { // after it has read the service's state, which notices show
        push(Notification::policyActivated, vocabulary::PolicyNotice{{0, 1}, "system", "Main", "", ""});
        events(lines);
        service.reset();
        events(lines + 1);
        servePolicy();
    };
    servePolicy();
    startJson({"--count", "9"});
    info.fromConfigDb = true; // a restart does this to every policy from a file, so it is not reported
    info.request.server.Subject = "CN=anna";
    restart(1);
    EXPECT_EQ(events(3).back(), "service-attached");
    required.type = LSPuserFile; // asked for, but not loaded
    required.user = "anna";
    restart(4);
    EXPECT_EQ(events(7).back(), "policy-required (missed)");
    EXPECT_EQ(nlohmann::json::parse(lines(7)[6])["user"], "anna");
    EXPECT_EQ(nlohmann::json::parse(lines(7)[6])["policy"], "/p");
    info.*vocabulary::policyInfo::version = "2";
    service->on(Command::GetPolicyInfo, Reaction::refuse());
    push(Notification::policyFailed, vocabulary::PolicyNotice{{0, 1}, "system", "Main", "", "no"});
    EXPECT_EQ(events(8).back(), "policy-failed") << "watch goes on when a policy can't be read";
    push(Notification::serviceStopping, vocabulary::StoppingNotice{{8, 9}});
    EXPECT_EQ(endStatus(), 0);
}

TEST_F(PanelctlWatch, SaysThatThePolicyInForceIsAnother) {
    LSPinfo_t info;
    info.request.type = LSPdriver;
    info.Title = "pass all";
    const auto servePolicy = [&] {
        serve({});
        service->answer<Command::GetPolicyInfo>(info.request, info);
    };
    servePolicy();
    start({"--count", "5"});
    push(Notification::policyActivated, vocabulary::PolicyNotice{{0, 1}, "driver", "pass all", "", ""});
    lines(1);
    service.reset();
    lines(2);
    info.request.type = LSPsystemFile;
    info.Title = "Main";
    servePolicy();
    EXPECT_EQ(endStatus(), 0);
    ASSERT_EQ(lines(5).size(), 5U);
    EXPECT_THAT(lines(5)[3], HasSubstr("Meanwhile: Policy system \"Main\" is required."));
    EXPECT_THAT(lines(5)[4], HasSubstr("Meanwhile: Policy system \"Main\" is in force."));
}

TEST_F(PanelctlWatch, WaitsForAServiceThatIsNotThere) {
    startJson({"--count", "2"});
    for (int i = 0; i < 1000 && watch->errorSoFar().empty(); ++i) std::this_thread::sleep_for(10ms);
    EXPECT_THAT(watch->errorSoFar(), HasSubstr("The service is not running; waiting for it."));
    serve({office});
    EXPECT_THAT(events(1), ElementsAre("service-attached"));
    push(Notification::tokenRemoved, vocabulary::TokenNotice{{0, 1}, office});
    EXPECT_EQ(endStatus(), 0);
}

TEST_F(PanelctlWatch, EndsAfterItsTime) {
    serve({});
    const auto start = std::chrono::steady_clock::now();
    const auto result = panelctl(endpoint, {"watch", "--for", "0.5"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 500ms);
}

TEST_F(PanelctlWatch, RefusesWhatCanNeverWork) {
    serve({});
    service->greet({.verdict = 2, .text = "you are not known here"});
    EXPECT_EQ(panelctl(endpoint, {"watch"}).status, 4);
    EXPECT_EQ(panelctl(endpoint, {"watch", "--count", "0"}).status, 2);
    EXPECT_EQ(panelctl(endpoint, {"watch", "--for", "soon"}).status, 2);
}

} // namespace
