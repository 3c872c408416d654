// SPDX-License-Identifier: MIT
//
// VpnTokensController: what a front end does with PKCS#11 providers and tokens. Every operation is one command to
// the service over the "Tokens" session.
//
// Operations block the calling thread and belong, with the session pool, to the front end's one thread. They answer
// false when the service could not be reached or refused (bridge::lastFailure() says why), and throw the text
// "CommandStreamError" (a `const char*`) when a reply ends early. Texts are UTF-8.
//
//   VpnTokensController controller;
//   std::vector<PKCS11::TokenInfo> tokens;
//   if (controller.EnumProviderTokens(nullptr, tokens)) {
//       for (const PKCS11::TokenInfo& token : tokens) cli_printf("%s\n", token.text1.c_str());
//   }
//
// The service at hand documents its fields and flags in docs/service-api.md; names for them stand in
// vocabulary/tokens.h.
#pragma once

#include <panelkit/tokens/token_records.h>

#include <platform/bridge/send_command_progress.h>

#include <string>
#include <vector>

class PANELKIT_EXPORT VpnTokensController : public SendCommandProgress::IdleLoop {
public:
    VpnTokensController() = default;
    VpnTokensController(const VpnTokensController&) = default;
    VpnTokensController(VpnTokensController&&) = default;
    VpnTokensController& operator=(const VpnTokensController&) = default;
    VpnTokensController& operator=(VpnTokensController&&) = default;
    ~VpnTokensController() override;

    // Yields the processor once; called while TokenInitialize and ReloadAll run.
    void OnExecuteCommand(const SendCommandProgress& progress) override;

    // Lists the providers in their order. `out` is resized and filled in place.
    bool EnumProviders(std::vector<PKCS11::ProviderInfo>& out);

    // Lists the tokens of a provider, or of all providers when it is null.
    bool EnumProviderTokens(const PKCS11::ProviderInfo* provider, std::vector<PKCS11::TokenInfo>& out);
    bool EnumProviderTokens(const PKCS11::ProviderInfo& provider, std::vector<PKCS11::TokenInfo>& out);

    // Logs in to a token. `pin` is wiped from all buffers of the library once it is sent; the caller's copy is the
    // caller's to wipe. `flag` and the texts are the service's. When the log-in is refused and the service says why,
    // its words go into `message`, which may be null and is otherwise left alone.
    bool TokenLogin(const PKCS11::TokenInfo& token, const std::string& pin, bool flag, PinStateMessage* message);

    bool TokenLogout(const PKCS11::TokenInfo& token);

    // Initialises (erases) a token; a long command, run on a session of its own. The meaning of the strings and of
    // the flag is the service's.
    bool TokenInitialize(const PKCS11::TokenInfo& token, const std::string& s1, const std::string& s2,
                         const std::string& s3, bool flag);

    // Changes a PIN of a token. The meaning of the flags is the service's.
    bool TokenChangePassword(const PKCS11::TokenInfo& token, const std::string& oldPin, const std::string& newPin,
                             bool flag1, bool flag2);

    // Loads a provider. The record is replaced by what the service made of it, also when it answers false to a
    // command that was carried out; its flagB is cleared as soon as the request is on its way.
    bool ProviderLoad(PKCS11::ProviderInfo& provider);

    bool ProviderUnload(const PKCS11::ProviderInfo& provider);

    // Moves a provider one place up in the order.
    bool ProviderLevelUp(const PKCS11::ProviderInfo& provider);

    // Has the service load all providers anew; a long command, run on a session of its own.
    bool ReloadAll();

    // Seeds a token's random-number generator.
    bool InitTokenRNG(const PKCS11::TokenInfo& token, const std::string& seed);
};

// The console front end's controller. It draws no progress: its long commands stay silent.
class PANELKIT_EXPORT CLIVpnTokensController : public VpnTokensController {
public:
    CLIVpnTokensController() = default;
    CLIVpnTokensController(const CLIVpnTokensController&) = default;
    CLIVpnTokensController(CLIVpnTokensController&&) = default;
    CLIVpnTokensController& operator=(const CLIVpnTokensController&) = default;
    CLIVpnTokensController& operator=(CLIVpnTokensController&&) = default;
    ~CLIVpnTokensController() override;
};
