// SPDX-License-Identifier: MIT
//
// The tokens' controller for verbs that may take long: a dot a second on the terminal while a command runs. The
// library's own console controller stays silent there. Dots go to standard error, so they never get into a result.
#pragma once

#include <panelctl/verbs.h>

#include <panelkit/tokens/tokens_controller.h>

namespace panelctl {

class TokensWithDots : public CLIVpnTokensController {
public:
    // Draws only for people: with text as output, on a terminal.
    explicit TokensWithDots(const Context& context);

    void OnExecuteCommand(const SendCommandProgress& progress) override;

private:
    bool draws_;
};

} // namespace panelctl
