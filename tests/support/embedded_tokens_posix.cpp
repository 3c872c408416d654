// SPDX-License-Identifier: MIT
#include "embedded_tokens.h"

#include <testing/token_module_control.h>

const bool EmbeddedTokens::keysSign = true;

EmbeddedTokens::EmbeddedTokens() = default;
EmbeddedTokens::~EmbeddedTokens() = default;

std::vector<std::string> EmbeddedTokens::with(std::vector<std::string> arguments) const { return arguments; }

EmbeddedTokens::Environment EmbeddedTokens::with(Environment environment) const { return environment; }
