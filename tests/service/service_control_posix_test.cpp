// SPDX-License-Identifier: MIT
//
// The options that manage a service of Windows, on a system that has another way.
#include "../support/running_service.h"
#include "../support/test.h"

#include <platform/system/child_process.h>

namespace {

TEST(TheServicesCommandLine, NamesSystemdWhereItManagesServices) {
    for (const char* option :
         {"--install-service", "--uninstall-service", "--start-service", "--stop-service", "--service-status"}) {
        platform::ChildOptions options;
        options.arguments = {builtProgram("panelkitd"), option};
        const platform::ChildResult result = platform::runChild(options, std::chrono::seconds(60));
        EXPECT_EQ(result.status, 2) << option;
        EXPECT_THAT(result.error, testing::HasSubstr("systemctl")) << option;
        EXPECT_EQ(std::count(result.error.begin(), result.error.end(), '\n'), 1) << result.error;
    }
}

} // namespace
