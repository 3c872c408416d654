// SPDX-License-Identifier: MIT
//
// The script for bash, in a bash: words as bash splits them, quotes, and names with blanks.
#include "../support/panelctl_fixture.h"

#include <panelkit/tokens/token_records.h>
#include <vocabulary/tokens.h>

namespace {

using PKCS11::TokenInfo;

class Bash : public PanelctlTest {
protected:
    Bash() {
        service.answer<Command::EnumProviderTokens>(
            std::vector<TokenInfo>{{1, "Office North", "A1", "", "card", vocabulary::tokenFlag::initialized}});
    }

    // The text that bash would put in place of the last word.
    std::string completed(const std::string& words) const {
        platform::ChildOptions options;
        options.arguments = {"/bin/bash", "-c",
                             "source <(\"$0\" completion bash) && COMP_WORDS=(panelctl " + words +
                                 ") && COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) && complete -p panelctl >/dev/null && "
                                 "_panelctl \"$0\" && printf '%s|' \"${COMPREPLY[@]}\"",
                             builtProgram("panelctl")};
        options.environment = {{"PANELKIT_BRIDGE", service.endpoint()}, {"LC_ALL", "C.UTF-8"}};
        const auto result = platform::runChild(options, std::chrono::seconds(60));
        EXPECT_EQ(result.error, "");
        return result.output;
    }
};

TEST_F(Bash, CompletesACommandLine) {
    EXPECT_EQ(completed("tok"), "token|");
    EXPECT_EQ(completed("token log"), "login|logout|");
    EXPECT_EQ(completed("token login --lang = r"), "ru|");
    EXPECT_EQ(completed("token login ''"), "Office\\ North|");
    EXPECT_EQ(completed(R"(token login 'Office\ N')"), "Office\\ North|") << "half of it was typed with a backslash";
    EXPECT_EQ(completed(R"(token login "\"Office N")"), "Office North|") << "the quote that was begun goes on";
    EXPECT_EQ(completed("nonsense x"), "|");
}

} // namespace
