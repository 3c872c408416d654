// SPDX-License-Identifier: MIT
//
// A service that may load the test token module, which the test controls from outside. A token "Office" is in its
// reader.
#pragma once

#include "../support/running_service.h"
#include "../support/test.h"

#include <testing/token_module_control.h>

inline const std::string testModule = builtProgram(PANELKIT_TEST_TOKEN_FILE);

// A base, since the service must end before the module's folder is removed.
struct SteeredToken {
    SteeredToken() {
        control.createToken("office", {.label = "Office", .soPin = "so-secret", .userPin = "user-1"});
        control.insert("reader", "office");
    }
    panelkit::testing::TokenModuleControl control;
};

// World: a fixture that derives from WithService.
template <class World>
class Steered : protected SteeredToken, public World {
protected:
    explicit Steered(std::vector<std::string> arguments = {"--embedded-module", ""},
                     std::map<std::string, std::optional<std::string>> environment = {})
        : World(with(std::move(arguments)), with(std::move(environment), control.folder())) {}

    void load() { ASSERT_EQ(World::load(testModule), ""); }

private:
    static std::vector<std::string> with(std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--allow-module", testModule});
        return arguments;
    }
    static auto with(std::map<std::string, std::optional<std::string>> environment, const std::string& folder) {
        environment["PANELKIT_TEST_TOKEN_DIR"] = folder;
        return environment;
    }
};
