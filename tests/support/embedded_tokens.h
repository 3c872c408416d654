// SPDX-License-Identifier: MIT
//
// The tokens of the service's embedded module, blank at first: SoftHSM2. On Windows, where it is not, the test token
// module takes its place; its keys sign nothing.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace panelkit::testing {
class TokenModuleControl;
}

// Must outlive the service.
class EmbeddedTokens {
public:
    using Environment = std::map<std::string, std::optional<std::string>>;

    EmbeddedTokens();
    ~EmbeddedTokens();
    EmbeddedTokens(const EmbeddedTokens&) = delete;
    EmbeddedTokens& operator=(const EmbeddedTokens&) = delete;

    static const bool keysSign; // tests that need that are skipped where it is false

    // Of a service that is to have these tokens.
    std::vector<std::string> with(std::vector<std::string> arguments) const;
    Environment with(Environment environment) const;

private:
    std::unique_ptr<panelkit::testing::TokenModuleControl> control_;
};
