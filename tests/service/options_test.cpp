// SPDX-License-Identifier: MIT
//
// panelkitd's command line. Runs under Wine too.
#include "../support/places.h"
#include "../support/running_service.h"
#include "../support/test.h"

#include <platform/system/child_process.h>

namespace {

platform::ChildResult panelkitd(const std::string& option) {
    platform::ChildOptions options;
    options.arguments = {builtProgram("panelkitd"), option};
    platform::ChildResult result = platform::runChild(options, std::chrono::seconds(60));
    std::erase(result.output, '\r');
    return result;
}

TEST(TheServicesCommandLine, IsToldByTheManualPageThatIsInTheTree) { // panelkitd --manual > docs/man/panelkitd.8
    std::ifstream file(sourceFile("docs/man/panelkitd.8"), std::ios::binary);
    std::string page{std::istreambuf_iterator<char>(file), {}};
    std::erase(page, '\r');
    EXPECT_EQ(panelkitd("--manual").output, page);
}

TEST(TheServicesCommandLine, RefusesWhatItDoesNotKnow) {
    EXPECT_EQ(panelkitd("--endpiont").status, 2);
    EXPECT_EQ(panelkitd("--stop-grace=0").status, 2);
    for (const char* wrong : {"--charon-socket=/run/charon.vici", "--charon-socket="}) {
        EXPECT_EQ(panelkitd(wrong).status, 2) << wrong;
    }
    EXPECT_THAT(panelkitd("--version").output, testing::StartsWith("panelkitd "));
    EXPECT_THAT(panelkitd("--help").output, testing::Not(testing::HasSubstr("--manual"))) << "it is for the build";
}

} // namespace
