// SPDX-License-Identifier: MIT
//
// A second process that uses the policy controller: policy_client ENDPOINT COUNT. It activates policies in turn, COUNT
// times or, with 0, until it is killed. It exits with 1 when an answer is not that of the test's service.
#include <panelkit/lsp/lsp_controller.h>
#include <platform/bridge/command_sender.h>

#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    CommandSender::Instance().SetEndpoint(argv[1]);
    const long count = std::strtol(argv[2], nullptr, 10);
    LSPController controller;
    for (long i = 0; count == 0 || i < count; ++i) {
        std::string message;
        if (!controller.cmdActivateUser("anna", message, "lsp") || message != "words") return 1;
        if (!controller.cmdActivateDDP("lsp")) return 1;
    }
    return 0;
}
