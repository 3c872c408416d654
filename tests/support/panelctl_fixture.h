// SPDX-License-Identifier: MIT
//
// Tests that run panelctl against a scripted service, or against a panelkitd with a token, as its users do.
#pragma once

#include "bytes.h"
#include "panelctl.h"
#include "test.h"

#include <testing/scripted_service.h>

#include <nlohmann/json.hpp>

using panelkit::Command;
using panelkit::testing::Reaction;

inline void expectError(const platform::ChildResult& result, int status, const std::string& text) {
    EXPECT_EQ(result.status, status) << result.error;
    EXPECT_THAT(result.error, testing::HasSubstr(text));
    EXPECT_EQ(result.output, "");
}

// Expects the members that are wanted, and any others.
inline void expectHolds(const nlohmann::json& found, const nlohmann::json& wanted, const std::string& where = {}) {
    if (wanted.is_object()) {
        for (const auto& [key, value] : wanted.items()) expectHolds(found.at(key), value, where + "." + key);
    } else if (wanted.is_array()) {
        ASSERT_EQ(found.size(), wanted.size()) << where;
        for (std::size_t i = 0; i < wanted.size(); ++i) expectHolds(found[i], wanted[i], where + std::to_string(i));
    } else {
        EXPECT_EQ(found, wanted) << where;
    }
}
inline void expectHolds(const nlohmann::json& found, const char* wanted) {
    expectHolds(found, nlohmann::json::parse(wanted));
}

template <class Service>
class PanelctlWith : public testing::Test {
protected:
    using Arguments = std::vector<std::string>;
    using Environment = std::map<std::string, std::optional<std::string>>;

    template <class... How>
    explicit PanelctlWith(How&&... how) : service(std::forward<How>(how)...) {}

    platform::ChildResult run(Arguments arguments, const std::string& input = {}, Environment environment = {}) {
        return panelctl(service.endpoint(), std::move(arguments), input, std::move(environment));
    }
    void good(Arguments arguments, const std::string& input = {}) {
        const auto result = run(std::move(arguments), input);
        EXPECT_EQ(result.status, 0) << result.error;
    }
    nlohmann::json json(Arguments arguments, const std::string& input = {}) {
        arguments.emplace_back("--json");
        return nlohmann::json::parse(run(std::move(arguments), input).output);
    }

    Service service;
};

class PanelctlTest : public PanelctlWith<panelkit::testing::ScriptedService> {
protected:
    // The payload of the last request for a command; "" when there was none.
    std::string sent(Command command) {
        std::string payload;
        for (const auto& request : service.requests()) {
            if (request.command == panelkit::commandRow(command).code &&
                request.module == panelkit::commandRow(command).module) {
                payload = request.payload;
            }
        }
        return payload;
    }
};

// Each test has a panelkitd and a folder.
class PanelctlAndPanelkitd : public PanelctlWith<RunningService> {
protected:
    explicit PanelctlAndPanelkitd(Arguments options = {}) : PanelctlWith(std::move(options)) {}

    void initialize(const std::string& label) {
        good({"token", "init", "--label", label, "--so-pin-stdin", "--pin-stdin"}, "so-pin-1\nuser-1\n");
    }
    void login(const std::string& label = "Office") { good({"token", "login", label, "--pin-stdin"}, "user-1\n"); }
    std::string file(const std::string& name) const { return folder.file(name); }
    // Runs another program. The variable FILE_PASSWORD is "päss".
    static platform::ChildResult program(Arguments arguments) {
        platform::ChildOptions options;
        options.arguments = std::move(arguments);
        options.environment["FILE_PASSWORD"] = "päss";
        return platform::runChild(options, std::chrono::seconds(60));
    }

    TemporaryFolder folder;
};

// Each test has the token "Office", too.
class PanelctlForReal : public PanelctlAndPanelkitd {
protected:
    PanelctlForReal() { initialize("Office"); }
    // Returns OpenSSL's output.
    static std::string openssl(Arguments arguments) {
        arguments.insert(arguments.begin(), "openssl");
        const auto result = program(std::move(arguments));
        EXPECT_EQ(result.status, 0) << result.error;
        return result.output + result.error;
    }
};
