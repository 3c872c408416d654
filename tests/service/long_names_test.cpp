// SPDX-License-Identifier: MIT
//
// A day with files whose path is longer than 260 characters: the state folder, a module, a certificate, a policy and a
// transcript.
#include "../support/certificate_maker.h"
#include "../support/long_name.h"
#include "../support/panelctl.h"
#include "steered_token.h"

#include <platform/system/files.h>
#include <platform/system/folders.h>

using platform::ChildResult;

namespace {

class AServiceWithLongNames : protected SteeredToken, public testing::Test {
protected:
    void works(const std::vector<std::string>& arguments, const std::string& expected, const std::string& input = {}) {
        const ChildResult result =
            panelctl(service.endpoint(), arguments, input, {{"PANELKIT_TRANSCRIPT", transcript}});
        EXPECT_EQ(result.status, 0) << result.error;
        EXPECT_THAT(result.output, HasSubstr(expected));
    }

    std::string copyOfModule() const {
        platform::makePrivateFolder(folder);
        const std::string copy = folder + "/модуль-" + PANELKIT_TEST_TOKEN_FILE;
        platform::replaceFile(copy, platform::readFile(testModule, 1U << 30), false);
        return copy;
    }

    TemporaryFolder temporary;
    const std::string folder = temporary.file(longName());
    const std::string module = copyOfModule();
    const std::string transcript = folder + "/запись";
    RunningService service{{"--embedded-module", "", "--allow-module", module},
                           {{"PANELKIT_TEST_TOKEN_DIR", control.folder()}},
                           longName()};
};

TEST_F(AServiceWithLongNames, IsUsedAsAnyOther) {
    works({"provider", "load", module, "--name", "длинный", "--remember"}, "");
    works({"provider", "list"}, "длинный");
    works({"token", "login", "Office", "--pin-stdin"}, "", "user-1\n");
    const Identity gate = makeAuthority("gate");
    platform::replaceFile(folder + "/сертификат.der", gate.der, false);
    works({"cert", "import", folder + "/сертификат.der", "--token", "Office"}, "Office");
    works({"cert", "export", "gate", "--output", folder + "/вывод.pem"}, "");
    EXPECT_THAT(platform::readFile(folder + "/вывод.pem", 1 << 20), HasSubstr("BEGIN CERTIFICATE"));
    works({"transcript", transcript}, "ImportCertificate");
    platform::replaceFile(folder + "/политика.lsp", "title = Office\nversion = 1\n[rest]\naction = drop\n", false);
    works({"policy", "check", folder + "/политика.lsp"}, "Office");
    EXPECT_THAT(platform::readOwnFile(service.state() + "/providers.json", 1 << 20), HasSubstr("модуль"));
    service.terminate();
    service.start();
    works({"token", "list"}, "Office");
}

} // namespace
