// SPDX-License-Identifier: MIT
#include "embedded_tokens.h"

#include "running_service.h"

#include <testing/token_module_control.h>

#include <algorithm>

const bool EmbeddedTokens::keysSign = false;

EmbeddedTokens::EmbeddedTokens() : control_(std::make_unique<panelkit::testing::TokenModuleControl>()) {
    for (const char* name : {"1", "2", "3"}) {
        control_->setTraits(name, {.pretendsKeys = true});
        control_->insert(name, name);
    }
}

EmbeddedTokens::~EmbeddedTokens() = default;

std::vector<std::string> EmbeddedTokens::with(std::vector<std::string> arguments) const {
    if (std::ranges::find(arguments, "--embedded-module") == arguments.end()) {
        arguments.insert(arguments.end(), {"--embedded-module", builtProgram("panelkit_test_token.dll")});
    }
    return arguments;
}

EmbeddedTokens::Environment EmbeddedTokens::with(Environment environment) const {
    environment.try_emplace("PANELKIT_TEST_TOKEN_DIR", control_->folder());
    return environment;
}
