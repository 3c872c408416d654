// SPDX-License-Identifier: MIT
//
// The texts of the policy in force, written out by hand.
#include <panelkit/loc/ui_module.h>
#include <panelkit/lsp/policy_text.h>

#include "../../support/places.h"
#include "../../support/test.h"
#include "../../support/time_zone.h"

namespace {

using InfoType = LSPrequest_t::InfoType;
constexpr InfoType loading = InfoType::loading;
constexpr InfoType inForce = InfoType::inForce;
constexpr InfoType diagnosed = InfoType::diagnosed;

struct Told {
    std::string longText, diagnosis, shortText;
    InfoType longState{}, shortState{};
};

Told tell(const LSPinfo_t& info, const LSPrequest_t& required) {
    Told told{"stale", "stale", "stale"};
    told.longState = panelkit::longPolicyText(info, required, told.longText, told.diagnosis);
    told.shortState = panelkit::shortPolicyText(info, required, told.shortText);
    return told;
}

class ThePolicyText : public testing::Test {
protected:
    const ScopedTimeZone zone{"UTC0"};
};

LSPrequest_t driver(std::uint32_t mode) { return {.type = LSPdriver, .driverMode = mode}; }
LSPrequest_t ofFile(std::uint32_t type, const char* file, const char* user = "") {
    return {.type = type, .user = user, .file = file};
}
LSPrequest_t ofServer(std::uint32_t type, const char* address, const char* user = "") {
    return {.type = type, .user = user, .server = {.Server = address}};
}
LSPrequest_t withKey(LSPrequest_t request, const char* name) {
    request.server.authKind = LSPauthPresharedKey;
    request.server.presharedKeyName = name;
    return request;
}

// A policy called Office, activated when time began, with nothing to report.
LSPinfo_t office(const LSPrequest_t& request) {
    LSPinfo_t info;
    info.request = request;
    info.Title = "Office";
    info.certificateState = 1;
    return info;
}
template <class Change>
LSPinfo_t changed(LSPinfo_t info, Change change) {
    change(info);
    return info;
}

struct Case {
    std::string what;
    LSPinfo_t info;
    LSPrequest_t required;
    std::string longText, diagnosis;
    InfoType longState;
    std::string shortText;
    InfoType shortState;
};

#define AT "Thu Jan  1 00:00:00 1970"
#define SYSTEM "System policy\n  Source: Local Host"
#define NOW(type) "Current Policy:\n  Type: " type "\n  Title: Office\n  Activated: " AT
#define DRIVER(type) "Current Policy:\n  Type: " type "\n  Activated: " AT
#define SHORT "System policy 'Office' activated at " AT

// clang-format off
const LSPrequest_t host{.type = LSPsystemLocal};
const auto bare = [](const char* message) { return [message](LSPinfo_t& info) { info.bareMessage = true; info.message = message; }; };
const auto load = [](const char* message) { return [message](LSPinfo_t& info) { info.isLoading = true; info.message = message; }; };
const auto fromDb = [](LSPinfo_t& info) { info.fromConfigDb = true; };

// In force as required.
Case asRequired(const LSPrequest_t& request, const std::string& type, const char* shortText) {
    const char* const title = request.type == LSPdriver ? "" : "\n  Title: Office";
    return {type, office(request), request, "Current Policy:\n  Type: " + type + title + "\n  Activated: " AT, "", diagnosed, shortText, inForce};
}
Case withMessage(const char* message, const char* diagnosis, InfoType longState, const char* suffix, InfoType shortState) {
    return {message, changed(office(host), bare(message)), host, NOW(SYSTEM), diagnosis, longState, std::string(SHORT) + suffix, shortState};
}

const Case cases[] = {
    // ---- types and driver modes
    asRequired(driver(0), "Default Driver Policy (Drop All)",                      "Default Driver Policy is active. (Drop All)"),
    asRequired(driver(1), "Default Driver Policy (Drop All except DHCP)",          "Default Driver Policy is active. (Drop All except DHCP)"),
    asRequired(driver(7), "Default Driver PolicyUnknown",                          "Default Driver Policy is active.Unknown"),
    asRequired(host, SYSTEM,                                                       SHORT),
    asRequired(ofFile(2, "/etc/a"), "System policy\n  Source: File: /etc/a",       SHORT),
    asRequired({.type = 4, .user = "anna", .file = "f"}, SYSTEM,                   SHORT),
    asRequired(ofFile(5, "/a", "anna"), "User policy (anna)\n  Source: File: /a",  "User policy (anna): 'Office' activated at " AT),
    asRequired(ofServer(6, "pmp"), "User policy\n  Source: Server: pmp",           "User policy: 'Office' activated at " AT),
    asRequired({.type = 7, .user = "anna"}, "User policy (anna)\n  Source: Local Host", "User policy (anna): 'Office' activated at " AT),
    asRequired({.type = 8}, SYSTEM,                                                SHORT),
    {"a time that is none", changed(office(host), [](LSPinfo_t& info) { info.activated = -1; }), host,
     "Current Policy:\n  Type: " SYSTEM "\n  Title: Office\n  Activated: Bad time", "", diagnosed,
     "System policy 'Office' activated at Bad time", inForce},
    {"another mode of the driver is not an error", office(driver(2)), driver(0),
     DRIVER("Default Driver Policy (Pass All)"), "", diagnosed, "Default Driver Policy is active. (Pass All)", inForce},
    {"another address of the server is not an error", office(ofServer(3, "pmp")), ofServer(3, "other address"),
     NOW("System policy\n  Source: Server: pmp"), "", diagnosed, SHORT, inForce},

    // ---- another policy than the required one
    {"driver instead of system", office(driver(0)), host,
     "Error: Could not load policy.\nRequired policy:\n  Type: " SYSTEM "\n"
     DRIVER("Default Driver Policy (Drop All)"), "", diagnosed, "Error: loading policy failed: ", diagnosed},
    {"system instead of driver, with a message", changed(office(host), bare("why\tnot")), driver(1),
     "Error: Could not load policy.\nRequired policy:\n  Type: Default Driver Policy (Drop All except DHCP)\n"
     NOW(SYSTEM), "why\tnot", diagnosed, "Error: loading policy failed: why not", diagnosed},
    {"another user", office({.type = 7, .user = "anna"}), {.type = 7, .user = "boris"},
     "Error: Could not load policy.\nRequired policy:\n  Type: User policy (boris)\n  Source: Local Host\n"
     NOW("User policy (anna)\n  Source: Local Host"), "", diagnosed, "Error: loading policy failed: ", diagnosed},
    {"another file is not an error", office(ofFile(2, "/etc/a")), ofFile(5, "/home/b", "anna"),
     NOW("System policy\n  Source: File: /etc/a"), "", diagnosed, SHORT, inForce},
    {"a file instead of a server", office(ofFile(2, "/etc/a")), ofServer(3, "pmp"),
     "Error: Could not load policy.\nRequired policy:\n  Type: System policy\n  Source: Server: pmp\n"
     NOW("System policy\n  Source: File: /etc/a"), "", diagnosed, "Error: loading policy failed: ", diagnosed},

    // ---- from the configuration database, which is never the required one
    {"file from the database", changed(office(ofFile(2, "/etc/a")), fromDb), ofFile(2, "/etc/a"),
     NOW("System policy\n  Source: File: /etc/a") " from Config DB", "", diagnosed, SHORT " from Config DB", inForce},
    {"driver from the database", changed(office(driver(0)), fromDb), driver(0),
     "Error: Could not load policy.\nRequired policy:\n  Type: Default Driver Policy (Drop All)\n"
     DRIVER("Default Driver Policy (Drop All)") " from Config DB", "", diagnosed,
     "Default Driver Policy is active. (Drop All)", inForce},
    {"server from the database", changed(office(ofServer(3, "pmp")), fromDb), ofServer(3, "pmp"),
     "Error: Could not load policy.\nRequired policy:\n  Type: System policy\n  Source: Server: pmp\n"
     NOW("System policy\n  Source: Server: pmp") " from Config DB", "", diagnosed,
     "Error: loading policy failed: ", diagnosed},

    // ---- loading
    {"loading", changed(office(host), load("")), host,
     "Loading new policy:\n  Type: " SYSTEM "\n"
     NOW(SYSTEM), "", loading, "Policy loading...", loading},
    {"loading another, with a warning", changed(office(driver(0)), load("#WARN: a\tb")), host,
     "Loading new policy:\n  Type: " SYSTEM "\n"
     DRIVER("Default Driver Policy (Drop All)"), " (a\tb)", loading, "Policy loading...", loading},
    {"loading, bare, with an error", changed(changed(office(host), load("")), bare("e")), driver(3),
     "Loading new policy:\n  Type: Default Driver PolicyUnknown\n"
     NOW(SYSTEM), "e", loading, "Policy loading...", loading},

    // ---- messages
    withMessage("",             "",          inForce,   "",                      inForce),
    withMessage("no\troute",    "no\troute", diagnosed, "\nDiagnosis: no route", diagnosed),
    withMessage("#WaRn: dated", "dated",     inForce,   "\nDiagnosis: dated",    diagnosed),
    withMessage("#warn: ",      "",          inForce,   "\nDiagnosis: ",         diagnosed),
    withMessage("#warn:x",      "#warn:x",   diagnosed, "\nDiagnosis: #warn:x",  diagnosed),
    {"a message that is not shown", changed(office(host), [](LSPinfo_t& info) { info.message = "#warn: x"; info.certificateState = 10; }), host,
     NOW(SYSTEM), "", diagnosed, SHORT "\nDiagnosis: ", diagnosed},

    // ---- preshared keys: the required policy says that there is one, the one in force which
    {"key missing", changed(office(withKey(ofServer(3, "pmp"), "mine")), [](LSPinfo_t& info) { info.message = "m"; }), withKey(ofServer(3, "pmp"), "mine"),
     NOW("System policy\n  Source: Server: pmp"), "Preshared key is missing: mine", diagnosed,
     SHORT "\nDiagnosis: Preshared key is missing: mine", diagnosed},
    {"other key", office(withKey(ofServer(3, "pmp"), "mine")), withKey(ofServer(3, "pmp"), "yours"),
     "Error: Could not load policy.\nRequired policy:\n  Type: System policy\n  Source: Server: pmp\n"
     NOW("System policy\n  Source: Server: pmp"), "Preshared key is missing: mine", diagnosed,
     "Error: loading policy failed: Preshared key is missing: mine", diagnosed},
    {"key missing, and no name", office(driver(0)), withKey(ofServer(6, "pmp", "anna"), "mine"),
     "Error: Could not load policy.\nRequired policy:\n  Type: User policy (anna)\n  Source: Server: pmp\n"
     DRIVER("Default Driver Policy (Drop All)"), "Preshared key is missing: ", diagnosed,
     "Error: loading policy failed: Preshared key is missing: ", diagnosed},
};
// clang-format on

TEST_F(ThePolicyText, IsThatOfTheCase) {
    for (const Case& row : cases) {
        const Told told = tell(row.info, row.required);
        EXPECT_EQ(told.longText, row.longText) << row.what;
        EXPECT_EQ(told.diagnosis, row.diagnosis) << row.what;
        EXPECT_EQ(told.longState, row.longState) << row.what;
        EXPECT_EQ(told.shortText, row.shortText) << row.what;
        EXPECT_EQ(told.shortState, row.shortState) << row.what;
    }
}

TEST_F(ThePolicyText, SaysWhatIsWrongWithTheCertificate) {
    // clang-format off
    const std::string missing = "Personal certificate is missing";
    const std::string diagnoses[] = {
        missing, "", "Personal certificate will be valid from 1 May", "Personal certificate not valid after 1 May",
        "Private key of personal certificate not valid after 1 May", missing, missing,
        "User does not select a local certificate(cancel pressed)", missing,
        "Personal certificate does not contain IKE/IPsec Extended Key Usage", "", missing, ""};
    // clang-format on
    for (std::uint32_t state = 0; state < std::size(diagnoses); ++state) {
        LSPinfo_t info = office(host);
        info.message = "hidden";
        info.certificateState = state;
        info.certificateDate = "1 May";
        const Told told = tell(info, host);
        EXPECT_EQ(told.diagnosis, diagnoses[state]) << state;
        EXPECT_EQ(told.longState, diagnosed) << state;
        EXPECT_EQ(told.shortText, "System policy 'Office' activated at " AT "\nDiagnosis: " + diagnoses[state]);
        EXPECT_EQ(told.shortState, diagnosed) << state;
    }
}

TEST_F(ThePolicyText, NeedsNoTextForTheWord) {
    LSPinfo_t info;
    EXPECT_EQ(panelkit::policyState(info), diagnosed);
    info.bareMessage = true;
    EXPECT_EQ(panelkit::policyState(info), inForce);
    info.message = "#warn: x";
    EXPECT_EQ(panelkit::policyState(info), diagnosed);
    info.isLoading = true;
    EXPECT_EQ(panelkit::policyState(info), loading);
}

TEST_F(ThePolicyText, IsToldInRussianWhereThatIsLoaded) {
    Loc::UIModule russian;
    std::string error;
    ASSERT_TRUE(russian.load(localeFolder(), "ru_RU.UTF-8", &error)) << error;
    LSPinfo_t info = changed(office(withKey(ofServer(6, "pmp", "anna"), "mine")), fromDb);
    Told told = tell(info, ofFile(5, "/a"));
    EXPECT_EQ(told.longText, "Ошибка: не удалось загрузить политику.\nТребуемая политика:\n"
                             "  Тип: пользовательская политика\n  Источник: Файл: /a\n"
                             "Текущая политика:\n  Тип: пользовательская политика (anna)\n  Источник: Сервер: pmp\n"
                             "  Название: Office\n  Активирована: " AT " из базы конфигурации");
    EXPECT_EQ(told.diagnosis, "");
    EXPECT_EQ(told.shortText, "Ошибка: загрузка политики не удалась: ");

    told = tell(office(driver(2)), withKey(host, ""));
    EXPECT_EQ(told.diagnosis, "Общий ключ отсутствует: ");
    EXPECT_EQ(tell(office(driver(0)), driver(0)).shortText,
              "Действует политика драйвера по умолчанию. (отбрасывать все)");
    info = changed(office(host), bare("#warn: x"));
    EXPECT_EQ(tell(info, host).shortText, "Системная политика 'Office' активирована " AT "\nДиагностика: x");
    info.isLoading = true;
    EXPECT_EQ(tell(info, host).shortText, "Политика загружается...");
    russian.restoreDefaults();
    EXPECT_EQ(tell(info, host).shortText, "Policy loading...");
}

} // namespace
