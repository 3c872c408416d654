#include <panelkit/tokens/tokens_controller.h>
#include <platform/bridge/failure.h>

#include <cstdio>

int main() {
    VpnTokensController controller;
    std::vector<PKCS11::TokenInfo> tokens;
    if (!controller.EnumProviderTokens(nullptr, tokens)) {
        std::fprintf(stderr, "%s\n", bridge::lastFailure().text().c_str());
        return 1;
    }
    for (const auto& token : tokens) std::printf("%s (%s)\n", token.text1.c_str(), token.text2.c_str());
}
