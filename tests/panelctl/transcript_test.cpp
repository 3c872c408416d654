// SPDX-License-Identifier: MIT
//
// panelctl transcript: what PANELKIT_TRANSCRIPT records, and how it is printed.
#include "../support/bytes.h"
#include "../support/environment.h"
#include "../support/panelctl.h"
#include "../support/running_service.h"
#include "../support/test.h"

#include <panelkit/tokens/token_records.h>
#include <platform/text/utf8_path.h>
#include <testing/scripted_service.h>

using panelkit::Command;
using panelkit::testing::Reaction;

namespace {

class PanelctlTranscript : public testing::Test {
protected:
    // What a verb leaves in the file, as it is printed.
    std::string printed(const std::vector<std::string>& arguments) {
        recorded(arguments);
        const auto result = panelctl(service.endpoint(), {"transcript", path});
        EXPECT_EQ(result.status, 0) << result.error;
        return result.output;
    }
    platform::ChildResult recorded(const std::vector<std::string>& arguments, const std::string& input = {}) {
        return panelctl(service.endpoint(), arguments, input, {{"PANELKIT_TRANSCRIPT", path}});
    }

    const TemporaryFolder folder;
    const std::string path = folder.file("transcript");
    panelkit::testing::ScriptedService service;
};

TEST_F(PanelctlTranscript, PrintsFieldsAndExplainsAReplyThatEndsEarly) {
    service.on(Command::EnumProviders, Reaction::reply(hex("01 00 00 00  03 00 00 00 'a' 1b 'b'  09 00 00 00 'xy'")));
    EXPECT_THAT(printed({"provider", "list"}),
                HasSubstr("\n  request, 0 bytes\n"
                          "  reply, 17 bytes\n"
                          "       0  providers.count = 1\n"
                          "       4  providers[0].str1 = \"a\\\\x1Bb\"\n"
                          "    ENDS EARLY at offset 11, in the field providers[0].str2 (ProviderInfo)\n"
                          "    6 bytes are left of it\n"));
}

TEST_F(PanelctlTranscript, PrintsWhyACommandFailed) {
    service.on(Command::EnumProviders, Reaction::refuse("closed for today"));
    EXPECT_THAT(printed({"provider", "list"}),
                AllOf(HasSubstr("Z  EnumProviders  (module 6, command 0, session Tokens, "),
                      HasSubstr(" ms)\n  request, 0 bytes\n  failed: closed for today\n")));
}

TEST_F(PanelctlTranscript, RefusesWhatIsNotATranscript) {
    EXPECT_EQ(panelctl(service.endpoint(), {"transcript", folder.file("missing")}).status, 10);
    for (const char* text : {"no JSON\n", "[]\n", "{\"schema\":2}\n", "{\"schema\":1}\n"}) {
        std::ofstream(platform::toPath(path)) << text;
        const auto result = panelctl(service.endpoint(), {"transcript", path});
        EXPECT_EQ(result.status, 12) << text;
        EXPECT_THAT(result.error, HasSubstr("line 1")) << text;
    }
}

TEST_F(PanelctlTranscript, IsNotNeededForACommand) {
    service.on(Command::EnumProviders, Reaction::reply(hex("00 00 00 00")));
    const auto result =
        panelctl(service.endpoint(), {"provider", "list"}, {}, {{"PANELKIT_TRANSCRIPT", folder.file("no/file")}});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_THAT(result.error, HasSubstr("PANELKIT_TRANSCRIPT"));
}

} // namespace
