// A front end's test without a service: the scripted service answers as the test says.
#include <panelkit/tokens/tokens_controller.h>
#include <platform/bridge/command_sender.h>
#include <platform/bridge/failure.h>
#include <testing/scripted_service.h>

#include <cstdio>

using panelkit::Command;
using panelkit::testing::Reaction;

// The code to be tested: the text in the status bar.
static std::string statusBar() {
    VpnTokensController controller;
    std::vector<PKCS11::TokenInfo> tokens;
    if (!controller.EnumProviderTokens(nullptr, tokens)) return bridge::lastFailure().text();
    return std::to_string(tokens.size()) + " tokens";
}

static int failures = 0;
static void expect(const std::string& shown, const std::string& expected) {
    if (shown == expected) return;
    std::fprintf(stderr, "shown: %s; expected: %s\n", shown.c_str(), expected.c_str());
    ++failures;
}

int main() {
    panelkit::testing::ScriptedService service;
    CommandSender::Instance().SetEndpoint(service.endpoint());

    service.answer<Command::EnumProviderTokens>(std::vector<PKCS11::TokenInfo>(2));
    expect(statusBar(), "2 tokens");

    service.on(Command::EnumProviderTokens, Reaction::refuse("not today"));
    expect(statusBar(), "not today");
    return failures;
}
