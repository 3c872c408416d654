// SPDX-License-Identifier: MIT
//
// A front end for the test of secrets: it uses PINs correctly, and then waits while its memory is searched.
//
//   pin_client ENDPOINT LABEL login|change|keep
//   pin_client ENDPOINT FILE certs
//
// PINs come on standard input, one per line. After the operation it prints "done" or "failed" and waits for the end of
// its standard input. "keep" is the bad example: it does not wipe its own copy. "certs" passes its secret to every
// operation on certificates that takes one.
#include <panelkit/certs/certs_controller.h>
#include <panelkit/tokens/tokens_controller.h>

#include <platform/bridge/command_sender.h>
#include <platform/system/wipe.h>
#include <vocabulary/tokens.h>

#include <unistd.h>

#include <string>
#include <string_view>

namespace {

std::string readLine() {
    std::string line;
    line.reserve(512);
    for (char c{}; ::read(STDIN_FILENO, &c, 1) == 1 && c != '\n';) line += c;
    return line;
}

PKCS11::TokenInfo find(VpnTokensController& controller, const std::string& label) {
    std::vector<PKCS11::TokenInfo> tokens;
    controller.EnumProviderTokens(nullptr, tokens);
    for (const auto& token : tokens) {
        if (token.*vocabulary::token::label == label) return token;
    }
    return {};
}

bool operate(VpnTokensController& controller, const PKCS11::TokenInfo& token, std::string_view what) {
    std::string pin = readLine();
    if (what == "keep") {
        static const std::string kept = pin;
        return controller.TokenLogin(token, kept, false, nullptr);
    }
    const platform::WipeOnExit wiped(pin);
    if (what == "login") return controller.TokenLogin(token, pin, false, nullptr);
    std::string fresh = readLine();
    const platform::WipeOnExit freshWiped(fresh);
    return controller.TokenChangePassword(token, pin, fresh, false, false);
}

bool operateOnCertificates(const char* file) {
    VpnCertsSilentController controller;
    std::string secret = readLine();
    const platform::WipeOnExit wiped(secret);
    std::vector<PKCS11::TokenInfo> tokens;
    std::vector<CertImportOption> options;
    std::vector<CRLInfo> crls;
    std::string content;
    return controller.CreatePresharedKey({}, "office", secret) &&
           controller.ImportCertificate({}, 0, {}, true, secret.c_str()) == ImportCertResult{0} &&
           controller.ExportCertificate({}, {}, {}, secret, true, true, content) == ExportCertResult{0} &&
           controller.ParseCertFile(file, secret.c_str(), tokens, options, crls) == ParseCertFileResult::success;
}

} // namespace

int main(int, char** argv) {
    CommandSender::Instance().SetEndpoint(argv[1]);
    VpnTokensController controller;
    const bool done = argv[3] == std::string_view("certs") ? operateOnCertificates(argv[2])
                                                           : operate(controller, find(controller, argv[2]), argv[3]);
    const std::string_view answer = done ? "done\n" : "failed\n";
    if (::write(STDOUT_FILENO, answer.data(), answer.size()) < 0) return 1;
    ::pause(); // until the test has searched its memory
}
