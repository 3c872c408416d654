// SPDX-License-Identifier: MIT
//
// VpnTokensController: lists and changes PKCS#11 providers and tokens. Every operation is one command to the service
// over the "Tokens" session.
//
// Operations block the calling thread, which must be the one thread of the front end that uses the session pool. They
// return false when the service could not be reached or refused (bridge::lastFailure() says why), and throw the text
// "CommandStreamError" (a `const char*`) when a reply ends early. Texts are UTF-8.
//
//   VpnTokensController controller;
//   std::vector<PKCS11::TokenInfo> tokens;
//   if (controller.EnumProviderTokens(nullptr, tokens)) {
//       for (const PKCS11::TokenInfo& token : tokens) cli_printf("%s\n", token.text1.c_str());
//   }
//
// Fields and flags are described in docs/service-api.md; vocabulary/tokens.h has names for them.
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

    // Logs in to a token. `pin` is wiped from all buffers of the library after it was sent; the caller must wipe its
    // own copy. `flag` and the texts are the service's. When the log-in is refused and the service says why, its texts
    // are written to `message`, which may be null and is otherwise unchanged.
    bool TokenLogin(const PKCS11::TokenInfo& token, const std::string& pin, bool flag, PinStateMessage* message);

    bool TokenLogout(const PKCS11::TokenInfo& token);

    // Initialises (erases) a token; a long command, run on a session of its own. The strings and the flag are described
    // in docs/service-api.md.
    bool TokenInitialize(const PKCS11::TokenInfo& token, const std::string& s1, const std::string& s2,
                         const std::string& s3, bool flag);

    // Changes a PIN of a token. The flags are described in docs/service-api.md.
    bool TokenChangePassword(const PKCS11::TokenInfo& token, const std::string& oldPin, const std::string& newPin,
                             bool flag1, bool flag2);

    // Loads a provider. The record is replaced by the service's reply, even when the command was carried out but
    // returns false; flagB is cleared as soon as the request is encoded.
    bool ProviderLoad(PKCS11::ProviderInfo& provider);

    bool ProviderUnload(const PKCS11::ProviderInfo& provider);

    // Moves a provider one place up in the order.
    bool ProviderLevelUp(const PKCS11::ProviderInfo& provider);

    // Makes the service load all providers again; a long command, run on a session of its own.
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
